#include <VXViewer/draw/DrawnMesh.h>

namespace VX
{

Mesh withSeparateCorners( const Mesh& mesh )
{
    Mesh out;
    for ( size_t t = 0; t < mesh.triangles.size(); ++t )
        for ( const auto v : mesh.triangles[t] )
        {
            out.points.push_back( mesh.points[v] );
            if ( !mesh.normals.empty() )
                out.normals.push_back( mesh.normals[v] );
            out.vertexColors.push_back( mesh.faceColors[t] );
        }
    return out;
}

float averageEdgeLength( const Mesh& mesh )
{
    constexpr size_t cAsked = 2000;
    const size_t step = mesh.triangles.size() / cAsked + 1;
    double sum = 0;
    size_t count = 0;
    for ( size_t t = 0; t < mesh.triangles.size(); t += step, count += 3 )
        for ( size_t k = 0; k < 3; ++k )
        {
            const auto& [from, to] =
                std::pair( mesh.points[mesh.triangles[t][k]], mesh.points[mesh.triangles[t][( k + 1 ) % 3]] );
            sum += ( to - from ).length();
        }
    return count > 0 ? float( sum / double( count ) ) : 0;
}

} // namespace VX
