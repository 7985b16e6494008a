/// Feeds any bytes to the reader of the native format. What it accepts must be sound, and survive being written.
#include "Scratch.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/VisualObjects.h>

using namespace VX;

namespace
{

void check( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ); mesh && mesh->mesh() )
        Fuzz::require( isConsistent( *mesh->mesh() ), "a mesh that was read is consistent" );
    for ( const auto& child : object.children() )
        check( *child );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    const auto loaded = readVxu( std::as_bytes( std::span( data, size ) ) );
    if ( !loaded )
        return 0;
    for ( const auto& root : loaded->objects )
        check( *root );
    (void)writeVxu( loaded->objects );
    return 0;
}
