#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"
#include "support/service/SandboxOption.h"
#include "support/store/Swift.h"

#include "clock/SystemTime.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXOrvanta/deferred/WebRequestFuture.h>

#include <gtest/gtest.h>

#include <random>

#include <unistd.h>

using namespace VX;

namespace
{

/// A back end whose uploads and results lie in a bucket of Swift, and this process as its client.
class SwiftService : public testing::Test
{
protected:
    void SetUp() override { Testing::letBackendsUse( bucket_ ); }
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        std::error_code ec;
        for ( const char* end : { ".vxu", ".input.zip" } )
            std::filesystem::remove( "/.service_output_files/" + name_ + end, ec );
    }
    std::unique_ptr<Testing::BackendProcess> start( std::vector<std::string> options = {} )
    {
        options.insert( options.end(), { "--allow-anonymous", "--store-endpoint", bucket_.endpoint } );
        auto out = std::make_unique<Testing::BackendProcess>( options );
        // Of the service and of the store.
        const auto both = folder_.write( "both.pem",
            Testing::readFile( out->data() / "ca.pem" ) + Testing::readFile( Testing::swiftCertificate() ) );
        ::setenv( "SSL_CERT_FILE", both.c_str(), 1 );
        return out;
    }
    std::string import( const std::string& more = {} )
    {
        const auto sample = Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" );
        const auto result =
            ConverterService::fromStep( folder_.write( name_ + ".step", sample + "/* " + name_ + " */\n" + more ) );
        if ( !result )
            return result.error();
        return std::to_string( result->objects.size() ) + " objects";
    }
    [[nodiscard]] std::vector<std::string> keys( const std::string& prefix )
    {
        std::vector<std::string> out;
        const auto listed = client_.list( prefix ).value();
        for ( const auto& object : listed.objects )
            out.push_back( object.key );
        return out;
    }

    const std::string name_ = "orvanta-foreign-" + std::to_string( ::getpid() );
    Testing::ScratchFolder folder_;
    Backend::S3Bucket bucket_ = Testing::swiftBucket();
    Backend::S3Client client_{ bucket_, &Backend::systemTime };
};

} // namespace

TEST_F( SwiftService, ConvertsWhatLiesInAnothersStore )
{
    const auto before = keys( "results/" );
    const auto backend = start();
    EXPECT_EQ( import(), "1 objects" );
    EXPECT_EQ( keys( "results/" ).size(), before.size() + 1 );
    EXPECT_FALSE( std::filesystem::exists( backend->data() / "objects" ) ) << "nothing lies here";
}

TEST_F( SwiftService, AnUploadThatIsTooLargeIsRefusedAndRemoved )
{
    const auto before = keys( "uploads/" );
    const auto backend = start( { "--max-upload", "1" } );
    // Nothing that packs well.
    std::mt19937 random( 1 );
    std::string words;
    while ( words.size() < 4'000'000 )
        words += char( 'A' + random() % 26 );
    EXPECT_EQ( import( "/* " + words + " */\n" ), "The file is too large for the conversion service" );
    EXPECT_EQ( keys( "uploads/" ), before );
}

TEST( ForeignStore, WhatIsWrongWithItsOptionsIsSaidBeforeAnythingIsMade )
{
    const Testing::ScratchFolder folder;
    const auto data = folder.path() / "data";
    const auto refusal = [&]( const std::string& before, const std::string& options )
    {
        const auto ended =
            Testing::runCommand( before + " timeout 60 " ORVANTA_BACKEND " serve --port 0 --data '" + data.string() +
                                 "' " + Testing::sandboxOption() + " " + options + " 2>&1" );
        EXPECT_EQ( ended.status, 1 ) << ended.text;
        EXPECT_FALSE( std::filesystem::exists( data ) );
        return ended.text;
    };
    const std::string keys = "ORVANTA_S3_KEY=k ORVANTA_S3_SECRET=s ORVANTA_S3_BUCKET=b";
    for ( const char* url : { "storage.example.org", "https://", "https://storage.example.org/bucket", "ftp://x" } )
    {
        const auto problem = "\"" + std::string( url ) + "\" is no address such as https://storage.example.org";
        for ( const std::string option :
            { "--store-endpoint ", "--store-endpoint https://x --store-public-endpoint " } )
        {
            const auto text = refusal( keys, option + url );
            EXPECT_NE( text.find( problem ), std::string::npos ) << text;
        }
    }
    for ( const char* some : { "", "ORVANTA_S3_KEY=k ORVANTA_S3_SECRET=s", "ORVANTA_S3_BUCKET=b ORVANTA_S3_KEY=k" } )
    {
        const auto text = refusal( some, "--store-endpoint https://storage.example.org" );
        EXPECT_NE( text.find( "needs ORVANTA_S3_KEY, ORVANTA_S3_SECRET and ORVANTA_S3_BUCKET in the environment" ),
            std::string::npos )
            << text;
    }
}
