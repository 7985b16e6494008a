#include <VXMesh/formats/VxuFormat.h>

#include <VXMesh/formats/gltf/GlbReader.h>
#include <VXMesh/formats/gltf/GltfLimits.h>
#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>
#include <VXMesh/io/MappedFile.h>
#include <VXMesh/io/Path.h>

#include <cstring>
#include <new>

namespace VX
{
namespace
{

constexpr const char* cTooLarge = "The file describes too much: it is damaged, or the scene is too large";

constexpr uint32_t cMagic = 0x46546C67;       // "glTF"
constexpr uint32_t cJsonChunk = 0x4E4F534A;   // "JSON"
constexpr uint32_t cBinaryChunk = 0x004E4942; // "BIN"

struct Chunks
{
    std::string json;
    std::span<const std::byte> binary;
};

uint32_t word( std::span<const std::byte> bytes, size_t offset )
{
    uint32_t value = 0;
    std::memcpy( &value, bytes.data() + offset, sizeof value );
    return value;
}

tl::expected<Chunks, std::string> splitChunks( std::span<const std::byte> bytes )
{
    if ( bytes.size() < 20 || word( bytes, 0 ) != cMagic )
        return tl::unexpected( std::string( "This is not a scene file" ) );
    if ( word( bytes, 4 ) != 2 )
        return tl::unexpected( "Version " + std::to_string( word( bytes, 4 ) ) + " of the format cannot be read" );
    if ( word( bytes, 8 ) > bytes.size() )
        return tl::unexpected( std::string( "The file is cut off" ) );

    Chunks out;
    for ( size_t offset = 12; offset + 8 <= bytes.size(); )
    {
        const size_t length = word( bytes, offset );
        const uint32_t type = word( bytes, offset + 4 );
        offset += 8;
        if ( length > bytes.size() - offset )
            return tl::unexpected( std::string( "The file is cut off" ) );
        const auto chunk = bytes.subspan( offset, length );
        if ( type == cJsonChunk && length > Gltf::cMaxDescription )
            return tl::unexpected( std::string( cTooLarge ) );
        if ( type == cJsonChunk && out.json.empty() )
            out.json.assign( reinterpret_cast<const char*>( chunk.data() ), chunk.size() );
        else if ( type == cBinaryChunk && out.binary.empty() )
            out.binary = chunk;
        offset += ( length + 3 ) / 4 * 4;
    }
    return out;
}

tl::expected<LoadedObjects, std::string> loadVxu( const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto mapped = MappedFile::open( file );
    if ( !mapped )
        return tl::unexpected( mapped.error() );
    auto loaded = readVxu( mapped->bytes(), progress );
    if ( !loaded && loaded.error() != cOperationCanceled )
        return tl::unexpected( "Cannot read \"" + utf8string( file.filename() ) + "\": " + loaded.error() );
    return loaded;
}

} // namespace

FileFormat vxuFormat()
{
    return { "VX scene, binary glTF", { ".vxu", ".glb" }, &loadVxu };
}

tl::expected<LoadedObjects, std::string> readVxu( std::span<const std::byte> bytes, const ProgressCallback& progress )
try
{
    const auto chunks = splitChunks( bytes );
    if ( !chunks )
        return tl::unexpected( chunks.error() );
    if ( !Gltf::isModest( chunks->json ) )
        return tl::unexpected( std::string( cTooLarge ) );
    if ( !reportProgress( progress, 0 ) )
        return tl::unexpected( std::string( cOperationCanceled ) );
    const auto root = deserializeJsonValue( chunks->json );
    if ( !root )
        return tl::unexpected( std::string( "The file is damaged: its description is not valid JSON" ) );
    if ( !root->isObject() )
        return tl::unexpected( std::string( "The file is damaged: its description is not a JSON object" ) );
    return Gltf::GlbReader( *root, chunks->binary, progress ).read();
}
catch ( const std::bad_alloc& )
{
    return tl::unexpected( std::string( "There is not enough memory for this file" ) );
}
// Json::Value reports by exception what a check has missed; hostile bytes must not get further than this.
catch ( const std::exception& )
{
    return tl::unexpected( std::string( "The file is damaged: its description makes no sense" ) );
}

tl::expected<void, std::string> saveVxu( const std::filesystem::path& file,
    std::span<const std::shared_ptr<Object>> roots, const ProgressCallback& progress )
{
    const auto bytes = writeVxu( roots, progress );
    if ( !bytes )
        return tl::unexpected( bytes.error() );
    const std::span<const std::byte> part( *bytes );
    return writeFileAtomically( file, { &part, 1 } );
}

} // namespace VX
