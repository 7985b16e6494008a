#include <VXMesh/formats/MeshFile.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/scene/FeatureEdges.h>
#include <VXMesh/scene/VisualObjects.h>

namespace VX
{

void addCreases( Mesh& mesh )
{
    constexpr size_t cMaxTriangles = 500'000;
    if ( mesh.triangles.size() <= cMaxTriangles )
        mesh.edges = findFeatureEdges( mesh );
}

LoadedObjects meshOfFile( const std::filesystem::path& file, std::shared_ptr<Mesh> mesh, std::string warnings )
{
    auto object = std::make_shared<ObjectMesh>();
    object->setName( utf8string( file.stem() ) );
    object->setMesh( std::move( mesh ) );
    return { { std::move( object ) }, std::move( warnings ) };
}

LoadedObjects pointsOfFile( const std::filesystem::path& file, std::shared_ptr<PointCloud> points )
{
    auto object = std::make_shared<ObjectPoints>();
    object->setName( utf8string( file.stem() ) );
    object->setPoints( std::move( points ) );
    return { { std::move( object ) }, {} };
}

std::string cannotRead( const std::filesystem::path& file, const std::string& why )
{
    return "Cannot read \"" + utf8string( file.filename() ) + "\": " + why;
}

} // namespace VX
