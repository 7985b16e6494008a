/// Feeds any bytes to the reader of the native format. What it accepts must be sound, and survive being written.
#include "CheckScene.h"

#include <VXMesh/formats/VxuFormat.h>

using namespace VX;

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    const auto loaded = readVxu( std::as_bytes( std::span( data, size ) ) );
    if ( !loaded )
        return 0;
    for ( const auto& root : loaded->objects )
        Fuzz::checkScene( *root );
    (void)writeVxu( loaded->objects );
    return 0;
}
