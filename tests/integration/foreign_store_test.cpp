#include "TestPlaces.h"
#include "support/service/BackendProcess.h"
#include "support/store/Swift.h"

#include "clock/SystemTime.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/converter/ConverterService.h>

#include <gtest/gtest.h>

#include <fstream>

#include <unistd.h>

using namespace VX;

namespace
{

/// A back end whose uploads and results lie in a bucket of Swift, and this process as its client.
class SwiftService : public testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv( "ORVANTA_S3_KEY", bucket_.credentials.accessKey.c_str(), 1 );
        ::setenv( "ORVANTA_S3_SECRET", bucket_.credentials.secretKey.c_str(), 1 );
        ::setenv( "ORVANTA_S3_BUCKET", bucket_.name.c_str(), 1 );
    }
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
    [[nodiscard]] std::string sample() const
    {
        return Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" ) + "/* " + name_ + " */\n";
    }
    std::string import()
    {
        const auto result = ConverterService::fromStep( folder_.write( name_ + ".step", sample() ) );
        if ( !result )
            return result.error();
        return std::to_string( result->objects.size() ) + " objects";
    }
    [[nodiscard]] std::vector<std::string> keys( const std::string& prefix )
    {
        std::vector<std::string> out;
        for ( const auto& object : client_.list( prefix ).value().objects )
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
