#include <VXMesh/formats/ForeignFormats.h>

#include <VXMesh/formats/BinaryPly.h>
#include <VXMesh/formats/BinaryStl.h>
#include <VXMesh/formats/ReaderProcess.h>

namespace VX
{
namespace
{

tl::expected<LoadedObjects, std::string> loadApart(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    return readInProcess( readerProgram(), file, progress );
}

/// The kinds of files that people open all day, read at the speed of memory; others of the same name the slow way.
tl::expected<LoadedObjects, std::string> loadStl( const std::filesystem::path& file, const ProgressCallback& progress )
{
    auto binary = loadBinaryStl( file, progress );
    return binary ? std::move( *binary ) : loadApart( file, progress );
}

tl::expected<LoadedObjects, std::string> loadPly( const std::filesystem::path& file, const ProgressCallback& progress )
{
    auto binary = loadBinaryPly( file, progress );
    return binary ? std::move( *binary ) : loadApart( file, progress );
}

} // namespace

std::vector<FileFormat> foreignFormats()
{
    return {
        { "Stereolithography", { ".stl" }, &loadStl },
        { "Wavefront object", { ".obj" }, &loadApart },
        { "Stanford polygon file", { ".ply" }, &loadPly },
        { "Object file format", { ".off" }, &loadApart },
        { "glTF", { ".gltf" }, &loadApart },
        { "3D manufacturing format", { ".3mf" }, &loadApart },
        { "COLLADA", { ".dae" }, &loadApart },
        { "Filmbox", { ".fbx" }, &loadApart },
        { "3D Studio", { ".3ds" }, &loadApart },
    };
}

} // namespace VX
