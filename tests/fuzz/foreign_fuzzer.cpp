/// Feeds any bytes to the reader process that reads formats with a library; the first byte picks which. The reader may
/// hang, crash or be taken over: this program must live, get a sound scene or a reason, and be rid of the reader when
/// it has lost its patience.
#include "CheckScene.h"

#include <VXMesh/formats/ReaderProcess.h>

#include <array>
#include <chrono>

using namespace VX;

namespace
{

constexpr std::array cNames = { "input.stl", "input.ply", "input.obj", "input.off", "input.gltf", "input.dae",
    "input.3mf", "input.fbx", "input.3ds", "input.tif" };
constexpr std::chrono::seconds cPatience( 2 );

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    if ( size == 0 )
        return 0;
    static const Fuzz::Scratch sScratch;
    const auto file = sScratch.write( cNames[data[0] % cNames.size()], Fuzz::text( data + 1, size - 1 ) );
    const auto deadline = std::chrono::steady_clock::now() + cPatience;
    const auto loaded =
        readInProcess( readerProgram(), file, [&]( float ) { return std::chrono::steady_clock::now() < deadline; } );
    Fuzz::require( loaded || !loaded.error().empty(), "a refusal says why" );
    if ( loaded )
        for ( const auto& root : loaded->objects )
            Fuzz::checkScene( *root );
    return 0;
}
