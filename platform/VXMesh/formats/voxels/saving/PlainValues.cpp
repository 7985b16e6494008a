#include <VXMesh/formats/voxels/saving/PlainValues.h>

#include <VXMesh/volume/HeldTo.h>
#include <VXMesh/volume/VolumeBuilder.h>
#include <VXMesh/volume/VolumeStatistics.h>
#include <VXMesh/volume/VoxelView.h>

#include <array>
#include <cmath>
#include <limits>

namespace VX
{
namespace
{

bool isWhole( double v )
{
    return v == std::floor( v );
}

VoxelType typeFor( const Volume& volume )
{
    const auto& meaning = volume.meaning();
    if ( volume.type() == VoxelType::Float32 || !isWhole( meaning.slope ) || !isWhole( meaning.intercept ) )
        return VoxelType::Float32;
    const auto statistics = statisticsOf( volume );
    for ( const auto type : { volume.type(), VoxelType::UInt8, VoxelType::Int8, VoxelType::Int16, VoxelType::UInt16,
              VoxelType::Int32, VoxelType::UInt32 } )
        if ( withVoxelType( type,
                 [&]<typename T>( T )
                 {
                     return statistics.min >= double( std::numeric_limits<T>::lowest() ) &&
                            statistics.max <= double( std::numeric_limits<T>::max() );
                 } ) )
            return type;
    return VoxelType::Float32;
}

} // namespace

tl::expected<Volume, std::string> withPlainValues( const Volume& volume, const ProgressCallback& progress )
{
    const auto& meaning = volume.meaning();
    if ( meaning.slope == 1 && meaning.intercept == 0 )
        return volume;
    const VoxelType type = typeFor( volume );
    auto builder = VolumeBuilder::make(
        { .type = type, .grid = volume.grid(), .meaning = { .unit = meaning.unit, .window = meaning.window } } );
    if ( !builder )
        return tl::unexpected( builder.error() );
    const auto [nx, ny, nz] = volume.size();
    std::vector<std::byte> row( size_t( nx ) * sizeOf( type ) );
    for ( int z = 0; z < nz; ++z )
    {
        if ( !reportProgress( progress, float( z ) / float( nz ) ) )
            return tl::unexpected( std::string( cOperationCanceled ) );
        visit( volume,
            [&]<typename From>( const VoxelView<From>& voxels )
            {
                std::vector<From> stored( size_t( volume.size()[0] ) );
                withVoxelType( type,
                    [&]<typename To>( To )
                    {
                        auto* out = reinterpret_cast<To*>( row.data() );
                        for ( int y = 0; y < volume.size()[1]; ++y )
                        {
                            voxels.copyRow( 0, y, z, stored );
                            for ( size_t x = 0; x < stored.size(); ++x )
                                out[x] = heldTo<To>( meaning.valueOf( double( stored[x] ) ) );
                            (void)builder->append( row );
                        }
                    } );
            } );
    }
    return std::move( *builder ).finish();
}

} // namespace VX
