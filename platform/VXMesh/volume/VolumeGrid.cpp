#include <VXMesh/volume/VolumeGrid.h>

#include <numeric>

namespace VX
{
namespace
{

constexpr double cAxisError = 1e-4;

bool isOrthonormal( const Matrix3d& m )
{
    const Matrix3d product = m * m.transposed();
    const std::array<Vector3d, 3> rows{ product.x, product.y, product.z };
    for ( size_t i = 0; i < 3; ++i )
    {
        const Vector3d difference = rows[i] - Vector3d{ double( i == 0 ), double( i == 1 ), double( i == 2 ) };
        // A comparison that NaN fails.
        if ( !( difference.length() <= cAxisError ) )
            return false;
    }
    return true;
}

/// The whole number below, held to what an index can be.
int floorIndex( double v )
{
    constexpr double cMost = 1 << 30;
    return v > cMost ? int( cMost ) : v > -cMost ? int( std::floor( v ) ) : -int( cMost );
}

} // namespace

uint64_t VolumeGrid::voxelCount() const
{
    uint64_t count = 1;
    for ( const int n : size )
        if ( n <= 0 || __builtin_mul_overflow( count, uint64_t( n ), &count ) )
            return 0;
    return count <= uint64_t( INT64_MAX ) ? count : 0;
}

bool VolumeGrid::isConsistent() const
{
    const auto isPositive = []( double v ) { return v > 0 && std::isfinite( v ); };
    return voxelCount() > 0 && isPositive( spacing.x ) && isPositive( spacing.y ) && isPositive( spacing.z ) &&
           origin.isFinite() && isOrthonormal( direction );
}

bool VolumeGrid::contains( const VoxelIndex& index ) const
{
    for ( size_t i = 0; i < 3; ++i )
        if ( index[i] < 0 || index[i] >= size[i] )
            return false;
    return true;
}

AffineXf3d VolumeGrid::worldXf() const
{
    const Matrix3d scale{ { spacing.x, 0, 0 }, { 0, spacing.y, 0 }, { 0, 0, spacing.z } };
    return { direction * scale, origin };
}

AffineXf3d VolumeGrid::indexXf() const
{
    const Matrix3d scale{ { 1 / spacing.x, 0, 0 }, { 0, 1 / spacing.y, 0 }, { 0, 0, 1 / spacing.z } };
    const Matrix3d back = scale * direction.transposed();
    return { back, -( back * origin ) };
}

Vector3d VolumeGrid::worldOf( const Vector3d& index ) const
{
    return worldXf()( index );
}

Vector3d VolumeGrid::indexOf( const Vector3d& world ) const
{
    const Vector3d along = direction.transposed() * ( world - origin );
    return { along.x / spacing.x, along.y / spacing.y, along.z / spacing.z };
}

VoxelIndex VolumeGrid::voxelAt( const Vector3d& world ) const
{
    const Vector3d index = indexOf( world ) + Vector3d{ 0.5, 0.5, 0.5 };
    return { floorIndex( index.x ), floorIndex( index.y ), floorIndex( index.z ) };
}

Box3d VolumeGrid::box() const
{
    if ( voxelCount() == 0 )
        return {};
    const Box3d indices{ { -0.5, -0.5, -0.5 }, { size[0] - 0.5, size[1] - 0.5, size[2] - 0.5 } };
    return worldXf()( indices );
}

int VolumeGrid::axisAlong( int axis ) const
{
    const std::array<Vector3d, 3> rows{ direction.x, direction.y, direction.z };
    // Of the six ways to pair the axes the one that fits best as a whole.
    std::array<int, 3> way{ 0, 1, 2 }, best = way;
    double most = -1;
    do
    {
        double sum = 0;
        for ( size_t i = 0; i < 3; ++i )
            sum += std::abs( component( rows[i], size_t( way[i] ) ) );
        if ( sum > most + 1e-9 )
        {
            most = sum;
            best = way;
        }
    } while ( std::next_permutation( way.begin(), way.end() ) );
    return best[size_t( std::clamp( axis, 0, 2 ) )];
}

} // namespace VX
