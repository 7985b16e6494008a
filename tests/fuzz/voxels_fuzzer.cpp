/// Feeds any bytes to our own readers of voxels; the first byte picks which.
#include "CheckScene.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/scene/ObjectVolume.h>
#include <VXMesh/volume/VolumeStatistics.h>

#include <array>

using namespace VX;

namespace
{

constexpr std::array cNames = { "input.nii", "input.nrrd", "input.mha", "input_9x8x7_uint8.raw" };

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    if ( size == 0 )
        return 0;
    static const Fuzz::Scratch sScratch;
    const auto file = sScratch.write( cNames[data[0] % cNames.size()], Fuzz::text( data + 1, size - 1 ) );
    const auto loaded = loadObjectFromFile( file );
    Fuzz::require( loaded || !loaded.error().empty(), "a refusal says why" );
    if ( !loaded )
        return 0;
    for ( const auto& root : loaded->objects )
    {
        const auto* object = dynamic_cast<const ObjectVolume*>( root.get() );
        Fuzz::require( object && object->volume(), "what was read has voxels" );
        Fuzz::checkScene( *root );
        (void)windowOf( *object->volume() );
    }
    return 0;
}
