#pragma once

#include "Scratch.h"

#include <VXMesh/scene/ObjectVolume.h>

namespace VX::Fuzz
{

/// Ends the program, as a finding, when a mesh or a volume in the tree is not sound.
inline void checkScene( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ); mesh && mesh->mesh() )
        require( isConsistent( *mesh->mesh() ), "a mesh that was read is consistent" );
    if ( const auto* volume = dynamic_cast<const ObjectVolume*>( &object ); volume && volume->volume() )
        require( volume->volume()->isConsistent(), "a volume that was read is consistent" );
    for ( const auto& child : object.children() )
        checkScene( *child );
}

} // namespace VX::Fuzz
