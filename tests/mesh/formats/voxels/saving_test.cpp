#include "support/ScratchFolder.h"
#include "support/voxels/TestVolumes.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/voxels/saving/VolumeSavers.h>

#include <gtest/gtest.h>

#include <cstring>

using namespace VX;
using namespace VX::Testing;

namespace
{

const std::vector<std::string> cNames{ "a.nii", "a.nii.gz", "a.nrrd", "a.tif", "a_70x65x19.raw" };

Volume placed( VoxelType type )
{
    const VoxelIndex size{ 70, 65, 19 };
    return numberedVolume( type, size )
        .with( VolumeGrid{ .size = size,
            .spacing = { 0.5, 2, 3 },
            .direction = { { 0, 0, 1 }, { 1, 0, 0 }, { 0, 1, 0 } },
            .origin = { 10, -20, 30 } } );
}

/// Raw voxels are opened by the text beside them.
std::filesystem::path shownBy( const std::filesystem::path& file )
{
    return file.extension() == ".raw" ? std::filesystem::path( file.string() + ".mhd" ) : file;
}

/// What a file holds, where it stands in the scene.
tl::expected<Volume, std::string> opened( const std::filesystem::path& file )
{
    const auto loaded = loadObjectFromFile( file );
    if ( !loaded )
        return tl::unexpected( loaded.error() );
    const auto object = std::dynamic_pointer_cast<ObjectVolume>( loaded->objects.at( 0 ) );
    return object ? volumeInScene( *object ) : tl::unexpected( std::string( "no volume" ) );
}

size_t differingValues( const Volume& a, const Volume& b )
{
    size_t out = 0;
    forEachIndex( a.size(), [&]( const VoxelIndex& i ) { out += a.value( i ) != b.value( i ); } );
    return a.size() == b.size() ? out : 1 + out;
}

template <typename T>
T numberIn( const std::string& bytes, size_t offset )
{
    T out;
    std::memcpy( &out, bytes.data() + offset, sizeof out );
    return out;
}

size_t filesIn( const std::filesystem::path& folder )
{
    return size_t(
        std::distance( std::filesystem::directory_iterator( folder ), std::filesystem::directory_iterator() ) );
}

} // namespace

TEST( VolumeSaving, KeepsEveryVoxelOfEveryTypeInEveryFormat )
{
    const ScratchFolder folder;
    for ( const auto type : cAllVoxelTypes )
        for ( const auto& name : cNames )
        {
            const Volume volume = placed( type );
            const auto file = folder.path() / name;
            const auto saved = saveVolume( file, volume );
            ASSERT_TRUE( saved ) << saved.error();
            const auto back = opened( shownBy( file ) );
            ASSERT_TRUE( back ) << back.error();
            EXPECT_EQ( back->type(), type ) << name;
            EXPECT_EQ( differingVoxels( *back, volume ), 0u ) << name << " " << nameOf( type );
        }
}

TEST( VolumeSaving, KeepsThePlace )
{
    const ScratchFolder folder;
    const Volume volume = placed( VoxelType::UInt8 );
    for ( const auto& name : cNames )
    {
        const auto file = folder.path() / name;
        ASSERT_TRUE( saveVolume( file, volume ) );
        const auto back = opened( shownBy( file ) );
        ASSERT_TRUE( back ) << back.error();
        EXPECT_LT( ( back->grid().spacing - volume.grid().spacing ).length(), 1e-6 ) << name;
        // TIFF has no word for it.
        if ( name == "a.tif" )
            continue;
        for ( const Vector3d at : { Vector3d{ 0, 0, 0 }, Vector3d{ 69, 0, 0 }, Vector3d{ 0, 64, 18 } } )
            EXPECT_LT( ( back->worldOf( at ) - volume.worldOf( at ) ).length(), 1e-5 ) << name;
    }
}

TEST( VolumeSaving, KeepsValuesWhereTheFormatHasNoScale )
{
    const ScratchFolder folder;
    const Volume whole = placed( VoxelType::UInt8 ).with( VoxelMeaning{ .slope = -10, .intercept = -1000 } );
    const Volume broken = placed( VoxelType::Int16 ).with( VoxelMeaning{ .slope = 0.5, .intercept = 0.25 } );
    for ( const auto& name : cNames )
    {
        const bool hasScale = name.starts_with( "a.nii" );
        const auto file = folder.path() / name;
        const auto shown = shownBy( file );
        ASSERT_TRUE( saveVolume( file, whole ) );
        const auto first = opened( shown );
        ASSERT_TRUE( first ) << first.error();
        EXPECT_EQ( first->type(), hasScale ? VoxelType::UInt8 : VoxelType::Int16 ) << name;
        EXPECT_EQ( differingValues( *first, whole ), 0u ) << name;
        ASSERT_TRUE( saveVolume( file, broken ) );
        const auto second = opened( shown );
        ASSERT_TRUE( second ) << second.error();
        EXPECT_EQ( second->type(), hasScale ? VoxelType::Int16 : VoxelType::Float32 ) << name;
        EXPECT_EQ( differingValues( *second, broken ), 0u ) << name;
    }
}

TEST( VolumeSaving, WritesTheHeaderThatNiftiAsksFor )
{
    const ScratchFolder folder;
    const auto file = folder.path() / "a.nii";
    ASSERT_TRUE( saveVolume( file, placed( VoxelType::Int16 ).with( VoxelMeaning{ .window = { 40, 400 } } ) ) );
    const auto bytes = readFile( file );
    ASSERT_EQ( bytes.size(), 352u + 70 * 65 * 19 * 2 );
    EXPECT_EQ( numberIn<int32_t>( bytes, 0 ), 348 );
    EXPECT_EQ( numberIn<int16_t>( bytes, 40 ), 3 );
    EXPECT_EQ( numberIn<int16_t>( bytes, 46 ), 19 );
    EXPECT_EQ( numberIn<int16_t>( bytes, 70 ), 4 );
    EXPECT_EQ( numberIn<int16_t>( bytes, 72 ), 16 );
    EXPECT_EQ( numberIn<float>( bytes, 84 ), 2.f );
    EXPECT_EQ( numberIn<float>( bytes, 108 ), 352.f );
    EXPECT_EQ( numberIn<float>( bytes, 124 ), 240.f );
    EXPECT_EQ( bytes.substr( 344, 4 ), std::string( "n+1\0", 4 ) );
    // The last voxel.
    EXPECT_EQ( numberIn<int16_t>( bytes, bytes.size() - 2 ), numberAt( { 69, 64, 18 } ) );
}

TEST( VolumeSaving, WritesTheLargerNiftiWhereTheSmallerCannotCount )
{
    const ScratchFolder folder;
    const Volume volume = numberedVolume( VoxelType::UInt8, { 40000, 2, 2 } );
    ASSERT_TRUE( saveVolume( folder.path() / "a.nii", volume ) );
    EXPECT_EQ( numberIn<int32_t>( readFile( folder.path() / "a.nii" ), 0 ), 540 );
    const auto back = opened( folder.path() / "a.nii" );
    ASSERT_TRUE( back ) << back.error();
    EXPECT_EQ( differingVoxels( *back, volume ), 0u );
}

TEST( VolumeSaving, LeavesTheOldFileWhenItStopsOrFails )
{
    const ScratchFolder folder;
    const Volume volume = placed( VoxelType::UInt8 );
    for ( const auto& name : cNames )
    {
        const auto file = folder.write( name, "old" );
        const auto before = filesIn( folder.path() );
        const auto stopped = saveVolume( file, volume, []( float fraction ) { return fraction < 0.6f; } );
        ASSERT_FALSE( stopped ) << name;
        EXPECT_EQ( stopped.error(), cOperationCanceled );
        EXPECT_EQ( readFile( file ), "old" );
        EXPECT_EQ( filesIn( folder.path() ), before );
    }
    const auto nowhere = saveVolume( folder.path() / "none" / "a.nii", volume );
    ASSERT_FALSE( nowhere );
    EXPECT_NE( nowhere.error().find( "Cannot write" ), std::string::npos );
}

TEST( VolumeSaving, RefusesWhatItCannotSave )
{
    const ScratchFolder folder;
    EXPECT_EQ( saveVolume( folder.path() / "a.stl", placed( VoxelType::UInt8 ) ).error(),
        "Voxels cannot be saved as files of type \".stl\"" );
    EXPECT_EQ( saveVolume( folder.path() / "a.nii", Volume() ).error(), "There are no voxels to save" );
    EXPECT_EQ( filesIn( folder.path() ), 0u );
}

TEST( VolumeInScene, StandsWhereItsObjectDoes )
{
    const auto object = std::make_shared<ObjectVolume>();
    EXPECT_FALSE( volumeInScene( *object ) );
    object->setVolume( std::make_shared<Volume>( placed( VoxelType::UInt8 ) ) );
    object->setXf( { { { 0, -2, 0 }, { 2, 0, 0 }, { 0, 0, 2 } }, { 1, 2, 3 } } );
    const auto inScene = volumeInScene( *object );
    ASSERT_TRUE( inScene ) << inScene.error();
    const Vector3d at{ 5, 6, 7 };
    EXPECT_LT( ( inScene->worldOf( at ) - object->xf()( object->volume()->worldOf( at ) ) ).length(), 1e-9 );
    object->setXf( { { { 1, 0.5, 0 }, { 0, 1, 0 }, { 0, 0, 1 } }, {} } );
    EXPECT_FALSE( volumeInScene( *object ) );
}
