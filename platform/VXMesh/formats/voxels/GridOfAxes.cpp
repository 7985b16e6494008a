#include <VXMesh/formats/voxels/GridOfAxes.h>

namespace VX
{
namespace
{

constexpr double cVisible = 1e-3; // of the length of an axis: about a twentieth of a degree

Matrix3d sum( const Matrix3d& a, const Matrix3d& b, double k )
{
    return { ( a.x + b.x ) * k, ( a.y + b.y ) * k, ( a.z + b.z ) * k };
}

double distance( const Matrix3d& a, const Matrix3d& b )
{
    return std::max( { ( a.x - b.x ).length(), ( a.y - b.y ).length(), ( a.z - b.z ).length() } );
}

/// The nearest orthonormal matrix, by Newton's method for the polar decomposition (Higham 1986).
Matrix3d orthonormalNear( Matrix3d m )
{
    constexpr int cMostSteps = 100;
    for ( int i = 0; i < cMostSteps; ++i )
    {
        const Matrix3d next = sum( m, m.inverse().transposed(), 0.5 );
        const bool isDone = distance( next, m ) < 1e-14;
        m = next;
        if ( isDone )
            break;
    }
    return m;
}

} // namespace

tl::expected<GridOfAxes, std::string> gridOfAxes( const VoxelIndex& size, const Matrix3d& axes, const Vector3d& origin )
{
    const Matrix3d columns = axes.transposed();
    const Vector3d spacing{ columns.x.length(), columns.y.length(), columns.z.length() };
    const Matrix3d units =
        Matrix3d{ columns.x.normalized(), columns.y.normalized(), columns.z.normalized() }.transposed();
    const auto refused =
        tl::unexpected( std::string( "The spacing, the directions or the origin of its voxels make no sense" ) );
    constexpr double cFlat = 1e-6;
    // What is no number fails, too.
    if ( !( std::abs( units.determinant() ) > cFlat ) )
        return refused;
    GridOfAxes out{ { size, spacing, orthonormalNear( units ), origin }, {} };
    if ( !out.grid.isConsistent() )
        return refused;
    if ( distance( out.grid.direction, units ) > cVisible )
        out.warning = "Its axes are not at right angles; it is shown as if they were";
    return out;
}

} // namespace VX
