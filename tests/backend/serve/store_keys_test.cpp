#include "support/ScratchFolder.h"

#include "serve/StoreKeys.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <cstdlib>

#include <sys/stat.h>

using namespace VX;
using namespace VX::Backend;

TEST( KeysOfTheStore, AreKeptInAFileOfItsOwnersAlone )
{
    const Testing::ScratchFolder folder;
    const auto made = ensureStoreKeys( folder.path() ).value();
    EXPECT_EQ( made.bucket, "orvanta" );
    EXPECT_TRUE( made.credentials.accessKey.starts_with( "ORV" ) );
    EXPECT_EQ( made.credentials.accessKey.size(), 19u );
    EXPECT_EQ( made.credentials.secretKey.size(), 48u );
    const auto file = folder.path() / "store-keys.json";
    const auto kept = deserializeJsonValue( file ).value();
    EXPECT_EQ( kept["key"], made.credentials.accessKey );
    EXPECT_EQ( kept["secret"], made.credentials.secretKey );
    EXPECT_EQ( kept["bucket"], made.bucket );
    struct stat info{};
    ASSERT_EQ( ::stat( file.c_str(), &info ), 0 );
    EXPECT_EQ( info.st_mode & 07777, 0600u );
    EXPECT_EQ( ensureStoreKeys( folder.path() ).value().credentials.secretKey, made.credentials.secretKey );
    const Testing::ScratchFolder other;
    EXPECT_NE( ensureStoreKeys( other.path() ).value().credentials.secretKey, made.credentials.secretKey );
}

TEST( KeysOfTheStore, ThoseOfTheEnvironmentComeFirstAndAreNotKept )
{
    const Testing::ScratchFolder folder;
    for ( const char* name : { "ORVANTA_S3_KEY", "ORVANTA_S3_SECRET", "ORVANTA_S3_BUCKET" } )
        ::setenv( name, ( std::string( "of " ) + name ).c_str(), 1 );
    const auto given = ensureStoreKeys( folder.path() ).value();
    for ( const char* name : { "ORVANTA_S3_KEY", "ORVANTA_S3_SECRET", "ORVANTA_S3_BUCKET" } )
        ::unsetenv( name );
    EXPECT_EQ( given.credentials.accessKey, "of ORVANTA_S3_KEY" );
    EXPECT_EQ( given.credentials.secretKey, "of ORVANTA_S3_SECRET" );
    EXPECT_EQ( given.bucket, "of ORVANTA_S3_BUCKET" );
    EXPECT_FALSE( std::filesystem::exists( folder.path() / "store-keys.json" ) );
}

TEST( KeysOfTheStore, AreMadeAgainWhereTheFileIsNoObject )
{
    const Testing::ScratchFolder folder;
    for ( const char* damage : { "[]", "\"text\"", "garbage", R"({"key": 1, "secret": [], "bucket": null})" } )
    {
        folder.write( "store-keys.json", damage );
        const auto made = ensureStoreKeys( folder.path() ).value();
        EXPECT_EQ( made.credentials.secretKey.size(), 48u ) << damage;
        EXPECT_EQ( ensureStoreKeys( folder.path() ).value().credentials.secretKey, made.credentials.secretKey );
    }
    std::filesystem::remove( folder.path() / "store-keys.json" );
    std::filesystem::create_directory( folder.path() / "store-keys.json" );
    EXPECT_FALSE( ensureStoreKeys( folder.path() ) );
}
