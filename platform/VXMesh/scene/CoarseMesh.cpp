#include <VXMesh/scene/CoarseMesh.h>

#include <meshoptimizer.h>

#include <algorithm>

namespace VX
{

std::vector<Triangle> coarseTriangles( const Mesh& mesh )
{
    constexpr size_t cPart = 8, cMost = 60'000, cSmall = 5000;
    constexpr float cAnyError = 1; // of the mesh's extent
    if ( mesh.triangles.size() < cSmall )
        return {};
    std::vector<Triangle> out( mesh.triangles.size() );
    const size_t indices = meshopt_simplifySloppy( out.front().data(), mesh.triangles.front().data(),
        mesh.triangles.size() * 3, &mesh.points.front().x, mesh.points.size(), sizeof( Vector3f ),
        std::min( mesh.triangles.size() / cPart, cMost ) * 3, cAnyError, nullptr );
    out.resize( indices / 3 );
    out.shrink_to_fit();
    return out;
}

} // namespace VX
