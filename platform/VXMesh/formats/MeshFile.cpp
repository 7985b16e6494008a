#include <VXMesh/formats/MeshFile.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/scene/FeatureEdges.h>
#include <VXMesh/scene/Origin.h>
#include <VXMesh/scene/VisualObjects.h>

namespace VX
{

void addCreases( Mesh& mesh )
{
    constexpr size_t cMaxTriangles = 500'000;
    if ( mesh.triangles.size() <= cMaxTriangles )
        mesh.edges = findFeatureEdges( mesh );
}

LoadedObjects meshOfFile(
    const std::filesystem::path& file, std::shared_ptr<Mesh> mesh, const Vector3d& origin, std::string warnings )
{
    auto object = std::make_shared<ObjectMesh>();
    object->setName( utf8string( file.stem() ) );
    object->setXf( translation( origin ) );
    object->setMesh( std::move( mesh ) );
    return { { std::move( object ) }, std::move( warnings ) };
}

LoadedObjects pointsOfFile(
    const std::filesystem::path& file, std::shared_ptr<PointCloud> points, const Vector3d& origin )
{
    auto object = std::make_shared<ObjectPoints>();
    object->setName( utf8string( file.stem() ) );
    object->setXf( translation( origin ) );
    object->setPoints( std::move( points ) );
    return { { std::move( object ) }, {} };
}

std::string cannotRead( const std::filesystem::path& file, const std::string& why )
{
    return "Cannot read \"" + utf8string( file.filename() ) + "\": " + why;
}

} // namespace VX
