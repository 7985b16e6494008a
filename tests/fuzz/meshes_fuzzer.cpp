/// Feeds any bytes to our own readers of meshes and points; the first byte picks which.
#include "CheckScene.h"

#include <VXMesh/formats/BinaryPly.h>
#include <VXMesh/formats/BinaryStl.h>
#include <VXMesh/formats/FileFormats.h>

#include <array>

using namespace VX;

namespace
{

constexpr std::array cNames = { "input.stl", "input.ply", "input.xyz" };

std::optional<tl::expected<LoadedObjects, std::string>> read( size_t pick, const std::filesystem::path& file )
{
    if ( pick == 2 )
        return loadObjectFromFile( file );
    return pick == 0 ? loadBinaryStl( file, {} ) : loadBinaryPly( file, {} );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    if ( size == 0 )
        return 0;
    static const Fuzz::Scratch sScratch;
    const size_t pick = data[0] % cNames.size();
    const auto loaded = read( pick, sScratch.write( cNames[pick], Fuzz::text( data + 1, size - 1 ) ) );
    if ( !loaded )
        return 0;
    Fuzz::require( *loaded || !loaded->error().empty(), "a refusal says why" );
    if ( *loaded )
        for ( const auto& root : ( *loaded )->objects )
            Fuzz::checkScene( *root );
    return 0;
}
