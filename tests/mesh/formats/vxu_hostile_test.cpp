#include "support/TestMeshes.h"

#include <VXMesh/formats/VxuFormat.h>

#include <gtest/gtest.h>

#include <cstring>

using namespace VX;

namespace
{

/// A .vxu file whose parts can be bent before it is put together again.
struct Bent
{
    Bent()
    {
        const auto file = Testing::cubeFile();
        uint32_t length = 0;
        std::memcpy( &length, file.data() + 12, 4 );
        std::string json = file.substr( 20, length );
        Json::CharReaderBuilder builder;
        const std::unique_ptr<Json::CharReader> reader( builder.newCharReader() );
        reader->parse( json.data(), json.data() + json.size(), &root, nullptr );
        binary = file.substr( 20 + length + 8 );
    }

    [[nodiscard]] std::string bytes() const
    {
        auto json = Json::FastWriter().write( root );
        json.resize( ( json.size() + 3 ) / 4 * 4, ' ' );
        const uint32_t head[] = {
            0x46546C67, 2, uint32_t( 28 + json.size() + binary.size() ), uint32_t( json.size() ), 0x4E4F534A };
        const uint32_t chunk[] = { uint32_t( binary.size() ), 0x004E4942 };
        return std::string( reinterpret_cast<const char*>( head ), 20 ) + json +
               std::string( reinterpret_cast<const char*>( chunk ), 8 ) + binary;
    }

    /// Empty when the file was read.
    [[nodiscard]] std::string error() const
    {
        const auto file = bytes();
        const auto loaded = readVxu( std::as_bytes( std::span( file ) ) );
        return loaded ? std::string() : loaded.error();
    }

    Json::Value& compression( Json::ArrayIndex view )
    {
        return root["bufferViews"][view]["extensions"]["EXT_meshopt_compression"];
    }

    Json::Value root;
    std::string binary;
};

} // namespace

TEST( VxuHostile, TheUnbentFileIsRead )
{
    EXPECT_EQ( Bent().error(), "" );
}

TEST( VxuHostile, EveryCutLengthIsAnErrorOrReads )
{
    const auto file = Testing::cubeFile();
    for ( size_t size = 0; size < file.size(); ++size )
    {
        const auto loaded = readVxu( std::as_bytes( std::span( file.data(), size ) ) );
        EXPECT_FALSE( loaded ) << size;
    }
}

TEST( VxuHostile, EveryFlippedByteIsSurvived )
{
    auto file = Testing::cubeFile();
    for ( size_t i = 0; i < file.size(); ++i )
        for ( const char flip : { '\x01', '\x80', '\xff' } )
        {
            file[i] = char( file[i] ^ flip );
            const auto loaded = readVxu( std::as_bytes( std::span( file ) ) );
            EXPECT_TRUE( loaded || !loaded.error().empty() );
            file[i] = char( file[i] ^ flip );
        }
}

TEST( VxuHostile, RefusesACountThatTheBytesCannotHold )
{
    Bent bent;
    bent.compression( 0 )["count"] = Json::Int64( 4'000'000'000 );
    EXPECT_EQ( bent.error(), "The file is damaged: a packed buffer claims more than it can hold" );
}

TEST( VxuHostile, RefusesAnAccessorBeyondItsBuffer )
{
    Bent bent;
    bent.root["accessors"][0]["count"] = 9;
    EXPECT_EQ( bent.error(), "The file is damaged: an accessor reaches beyond its buffer" );
    bent.root["accessors"][0]["count"] = 8;
    bent.root["accessors"][0]["byteOffset"] = Json::UInt64( UINT64_MAX );
    EXPECT_EQ( bent.error(), "" ); // not a 64-bit integer: as if it were missing
    bent.root["accessors"][0]["byteOffset"] = Json::Int64( INT64_MAX );
    EXPECT_EQ( bent.error(), "The file is damaged: an accessor reaches beyond its buffer" );
}

TEST( VxuHostile, RefusesAViewOutsideOfTheData )
{
    Bent bent;
    bent.compression( 0 )["byteOffset"] = Json::Int64( 1'000'000'000'000 );
    EXPECT_EQ( bent.error(), "The file is damaged: a buffer view lies outside of the data" );
}

TEST( VxuHostile, RefusesIndicesBeyondThePoints )
{
    Bent bent;
    bent.root["accessors"][0]["count"] = 3;
    EXPECT_EQ( bent.error(), "The file is damaged: a surface refers to a point that is not there" );
}

TEST( VxuHostile, RefusesLayoutsThatTheCodecWouldAssert )
{
    for ( const int stride : { 0, 3, 5, 260, 1 << 30 } )
    {
        Bent bent;
        bent.compression( 0 )["byteStride"] = stride;
        EXPECT_NE( bent.error(), "" ) << stride;
    }
    Bent filter;
    filter.compression( 0 )["filter"] = "OCTAHEDRAL";
    EXPECT_EQ( filter.error(), "The file is damaged: a packed buffer has an unknown layout" );
}

TEST( VxuHostile, RefusesCyclesAndDeepTrees )
{
    Bent cycle;
    cycle.root["nodes"][1]["children"].append( 0 );
    EXPECT_EQ( cycle.error(), "The file is damaged: its tree of nodes has a cycle or is too deep" );
    Bent deep;
    for ( Json::ArrayIndex i = 1; i < 5000; ++i )
    {
        deep.root["nodes"][i]["name"] = "deep";
        deep.root["nodes"][i]["children"][0] = i + 1;
    }
    EXPECT_EQ( deep.error(), "The file is damaged: its tree of nodes has a cycle or is too deep" );
}

TEST( VxuHostile, SurvivesWrongTypesEverywhere )
{
    const Bent original;
    for ( const auto& key : original.root.getMemberNames() )
        for ( const Json::Value& odd : { Json::Value(), Json::Value( 7 ), Json::Value( "x" ),
                  Json::Value( Json::arrayValue ), Json::Value( Json::objectValue ) } )
        {
            Bent bent;
            bent.root[key] = odd;
            const auto file = bent.bytes();
            const auto loaded = readVxu( std::as_bytes( std::span( file ) ) );
            EXPECT_TRUE( loaded || !loaded.error().empty() ) << key;
            if ( original.root[key].isArray() )
            {
                Bent inner;
                inner.root[key][0] = odd;
                const auto innerFile = inner.bytes();
                const auto innerLoaded = readVxu( std::as_bytes( std::span( innerFile ) ) );
                EXPECT_TRUE( innerLoaded || !innerLoaded.error().empty() ) << key;
            }
        }
}

TEST( VxuHostile, BoundsWhatOneBlockUsedManyTimesCanCost )
{
    Bent bent;
    const auto accessor = bent.root["accessors"][0];
    for ( int i = 0; i < 20000; ++i )
    {
        Json::Value mesh = bent.root["meshes"][0];
        Json::Value node;
        node["mesh"] = int( bent.root["meshes"].size() );
        bent.root["meshes"].append( mesh );
        bent.root["nodes"][0]["children"].append( int( bent.root["nodes"].size() ) );
        bent.root["nodes"].append( node );
    }
    EXPECT_EQ( bent.error(), "" );
    bent.compression( 0 )["count"] = 500;
    EXPECT_NE( bent.error(), "" );
}
