#include "support/TestMeshes.h"
#include "support/voxels/TestVolumes.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/ObjectVolume.h>

#include <gtest/gtest.h>

#include <cstring>

using namespace VX;
using namespace VX::Testing;

namespace
{

std::shared_ptr<ObjectVolume> volumeObject( const Volume& volume )
{
    auto out = std::make_shared<ObjectVolume>();
    out->setVolume( std::make_shared<const Volume>( volume ) );
    return out;
}

std::vector<std::byte> written( const std::vector<std::shared_ptr<Object>>& roots )
{
    auto out = writeVxu( roots );
    EXPECT_TRUE( out ) << out.error();
    return out ? std::move( *out ) : std::vector<std::byte>();
}

std::shared_ptr<ObjectVolume> readBack( const std::shared_ptr<ObjectVolume>& object )
{
    const auto loaded = readVxu( written( { object } ) );
    EXPECT_TRUE( loaded ) << loaded.error();
    return loaded && loaded->objects.size() == 1 ? std::dynamic_pointer_cast<ObjectVolume>( loaded->objects[0] )
                                                 : nullptr;
}

/// A file with one volume whose description can be bent.
struct BentVolume
{
    BentVolume()
    {
        const auto file = written( { volumeObject( numberedVolume( VoxelType::Int16, { 70, 65, 19 } ) ) } );
        uint32_t length = 0;
        std::memcpy( &length, file.data() + 12, 4 );
        const auto* text = reinterpret_cast<const char*>( file.data() );
        Json::CharReaderBuilder builder;
        const std::unique_ptr<Json::CharReader> reader( builder.newCharReader() );
        reader->parse( text + 20, text + 20 + length, &root, nullptr );
        binary.assign( text + 28 + length, file.size() - 28 - length );
    }

    Json::Value& volume() { return root["extensions"]["VX_volume"]["volumes"][0]; }

    [[nodiscard]] std::string error() const
    {
        auto json = Json::FastWriter().write( root );
        json.resize( ( json.size() + 3 ) / 4 * 4, ' ' );
        const auto file = glbFile( json, binary );
        const auto loaded = readVxu( std::as_bytes( std::span( file ) ) );
        return loaded ? std::string() : loaded.error();
    }

    template <typename Change>
    static std::string after( const Change& change )
    {
        BentVolume bent;
        change( bent );
        return bent.error();
    }

    Json::Value root;
    std::string binary;
};

} // namespace

TEST( VxuVolume, KeepsEveryVoxelOfEveryType )
{
    for ( const auto type : cAllVoxelTypes )
    {
        const Volume volume = numberedVolume( type, { 70, 65, 19 } );
        const auto back = readBack( volumeObject( volume ) );
        ASSERT_TRUE( back );
        ASSERT_TRUE( back->volume()->isConsistent() );
        EXPECT_EQ( back->volume()->type(), type );
        EXPECT_EQ( differingVoxels( *back->volume(), volume ), 0u ) << nameOf( type );
    }
}

TEST( VxuVolume, KeepsPlacesAndMeaningsToTheLastDigit )
{
    const VolumeGrid grid{ .size = { 2, 3, 4 },
        .spacing = { 0.1, 1. / 3, 3 },
        .direction = { { 0, 0, 1 }, { 1, 0, 0 }, { 0, 1, 0 } },
        .origin = { 5500000.1, -2, 0.7 } };
    const auto object = volumeObject( Volume::filled( VoxelType::Int16, grid, -5 )
            .with( VoxelMeaning{
                .slope = 0.1, .intercept = -1024, .unit = "HU", .window = { .center = 40, .width = 400 } } ) );
    object->setName( "Head" );
    object->setColor( { 1, 2, 3, 4 } );
    object->setXf( { {}, { 1, 2, 3 } } );
    object->setVisible( false );
    const auto back = readBack( object );
    ASSERT_TRUE( back );
    EXPECT_EQ( back->name(), "Head" );
    EXPECT_EQ( back->color(), object->color() );
    EXPECT_EQ( back->xf(), object->xf() );
    EXPECT_FALSE( back->isVisible() );
    EXPECT_EQ( back->volume()->grid(), grid );
    EXPECT_EQ( back->volume()->meaning(), object->volume()->meaning() );
}

TEST( VxuVolume, IsWrittenOnceAndItsEqualBricksOnce )
{
    VolumeGrid grid;
    grid.size = { 640, 640, 64 };
    const auto object = volumeObject( Volume::filled( VoxelType::Int16, grid, 3 ) );
    const auto other = std::dynamic_pointer_cast<ObjectVolume>( cloneTree( *object ) );
    const auto bytes = written( { object, other, meshObject( "cube", cube() ) } );
    EXPECT_LT( bytes.size(), 10'000u );
    const auto loaded = readVxu( bytes );
    ASSERT_TRUE( loaded ) << loaded.error();
    ASSERT_EQ( loaded->objects.size(), 3u );
    const auto first = std::dynamic_pointer_cast<ObjectVolume>( loaded->objects[0] );
    const auto second = std::dynamic_pointer_cast<ObjectVolume>( loaded->objects[1] );
    EXPECT_EQ( first->volume(), second->volume() );
    EXPECT_EQ( first->volume()->bytes(), 64u * 64 * 16 * 2 );
    EXPECT_TRUE( std::dynamic_pointer_cast<ObjectMesh>( loaded->objects[2] ) );
}

TEST( VxuVolume, StopsWhenAskedToWhilePackingAndUnpacking )
{
    const auto object = volumeObject( numberedVolume( VoxelType::UInt8, { 64, 64, 2000 } ) );
    const std::vector<std::shared_ptr<Object>> roots{ object };
    const auto early = []( float fraction ) { return fraction < 0.3f; };
    const auto stopped = writeVxu( roots, early );
    ASSERT_FALSE( stopped );
    EXPECT_EQ( stopped.error(), cOperationCanceled );
    const auto unread = readVxu( written( roots ), early );
    ASSERT_FALSE( unread );
    EXPECT_EQ( unread.error(), cOperationCanceled );
}

TEST( VxuVolume, BentDescriptionsAreRefused )
{
    const std::string undescribed = "The file is damaged: a volume is not described";
    EXPECT_EQ( BentVolume().error(), "" );
    using Bent = BentVolume;
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["type"] = 7; } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["size"][0] = 0; } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["size"][0] = 1e300; } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["spacing"][1] = -1; } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["direction"][4] = 5; } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume().removeMember( "slope" ); } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["window"] = "wide"; } ), undescribed );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["size"][2] = 1 << 20; } ),
        "The file is damaged: a volume claims more than it holds" );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["bufferView"] = 9; } ),
        "The file is damaged: a buffer view is missing" );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.root["extensions"]["VX_volume"]["volumes"].clear(); } ),
        "The file is damaged: a volume is missing" );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.volume()["type"] = 1; } ),
        "The file is damaged: a brick of voxels cannot be unpacked" );
}

TEST( VxuVolume, BentBricksAreRefused )
{
    using Bent = BentVolume;
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.binary.replace( 0, 4, "\xff\xff\xff\x7f" ); } ),
        "The file is damaged: a brick of voxels lies outside of the data" );
    // The first brick has no earlier one to be the same as.
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.binary.replace( 0, 8, std::string( 8, '\0' ) ); } ),
        "The file is damaged: a brick of voxels refers to one that is not there" );
    // The second one is smaller than the first.
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.binary.replace( 8, 8, std::string( 8, '\0' ) ); } ),
        "The file is damaged: a brick of voxels refers to one that is not there" );
    EXPECT_EQ( Bent::after( []( Bent& b ) { b.binary[100] = char( b.binary[100] ^ 0x55 ); } ),
        "The file is damaged: a brick of voxels cannot be unpacked" );
}

TEST( VxuVolume, CannotClaimTheSameBytesOverAndOver )
{
    VolumeGrid grid;
    grid.size = { 64, 64, 16 };
    BentVolume bent;
    const auto file = written( { volumeObject( Volume::filled( VoxelType::Float32, grid ) ) } );
    uint32_t length = 0;
    std::memcpy( &length, file.data() + 12, 4 );
    const auto* text = reinterpret_cast<const char*>( file.data() );
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader( builder.newCharReader() );
    reader->parse( text + 20, text + 20 + length, &bent.root, nullptr );
    bent.binary.assign( text + 28 + length, file.size() - 28 - length );
    ASSERT_EQ( bent.error(), "" );
    const auto volume = bent.volume();
    for ( Json::ArrayIndex i = 1; i < 100; ++i )
    {
        bent.root["extensions"]["VX_volume"]["volumes"].append( volume );
        auto node = bent.root["nodes"][1];
        node["extensions"]["VX_volume"]["volume"] = i;
        bent.root["nodes"].append( node );
        bent.root["nodes"][0]["children"].append( i + 1 );
    }
    EXPECT_EQ( bent.error(), "The file is damaged: a volume claims more than it holds" );
}
