#pragma once

#include "Scratch.h"

#include <VXMesh/scene/VisualObjects.h>

namespace VX::Fuzz
{

/// Ends the program, as a finding, when a mesh in the tree is not sound.
inline void checkScene( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ); mesh && mesh->mesh() )
        require( isConsistent( *mesh->mesh() ), "a mesh that was read is consistent" );
    for ( const auto& child : object.children() )
        checkScene( *child );
}

} // namespace VX::Fuzz
