#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/service/BackendProcess.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Zip.h>

#include <gtest/gtest.h>

#include <filesystem>

using namespace VX;

namespace
{

constexpr size_t cStored = size_t( 1 ) << 20;

/// A back end that holds a mebibyte, and clients whom a proxy names to it.
class Shares : public testing::Test
{
protected:
    Shares()
        : backend_(
              { "--allow-anonymous", "--trusted-proxy", "127.0.0.0/8", "--max-upload", "1", "--max-stored", "1" } )
    {
        std::filesystem::create_directory( folder_.path() / "part" );
        std::filesystem::copy_file(
            std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step", folder_.path() / "part/bracket.step" );
        EXPECT_TRUE( compressZip( zip_, folder_.path() / "part" ) );
    }

    std::string curl( const std::string& owner, const std::string& arguments )
    {
        const auto ca = ( backend_.data() / "ca.pem" ).string();
        return Testing::runCommand(
            "curl -s --max-time 60 --cacert '" + ca + "' -H 'X-Forwarded-For: " + owner + "' " + arguments )
            .text;
    }
    Json::Value call( const std::string& owner, const std::string& name, const std::string& body )
    {
        return deserializeJsonValue( curl( owner, cApi + name + " -d '" + body + "'" ) ).value_or( Json::Value() );
    }
    /// Uploads a file for a new conversion; its id, or the status of a refusal.
    std::string upload( const std::string& owner, const std::filesystem::path& file )
    {
        const auto result = call( owner, "/request", R"({"input_format":"step","compress_input":"zip"})" )["result"];
        const auto status = curl(
            owner, "-o /dev/null -w '%{http_code}' -T '" + file.string() + "' '" + result["url"].asString() + "'" );
        return status == "200" ? result["request_id"].asString() : status;
    }
    /// What is said of a conversion once it has ended.
    Json::Value ended( const std::string& id )
    {
        for ( const Testing::Patience patience;; patience.check() )
            if ( const auto said = statusOf( id ); said["result"]["state"].asString() != "in_progress" )
                return said;
    }
    Json::Value statusOf( const std::string& id )
    {
        return deserializeJsonValue( curl( "10.9.9.9", cApi + "/status?request_id=" + id ) ).value_or( Json::Value() );
    }
    /// The id of a conversion that has been done.
    std::string converted( const std::string& owner )
    {
        const auto id = upload( owner, zip_ );
        call( owner, "/convert",
            R"({"input_format":"step","compress_input":"zip","output_format":"vxu","request_id":")" + id + "\"}" );
        const auto said = ended( id );
        EXPECT_EQ( said["result"]["state"].asString(), "finished" ) << said.toStyledString();
        return id;
    }
    size_t sizeOfResult( const std::string& id )
    {
        return std::stoul( curl(
            "10.9.9.9", "-o /dev/null -w '%{size_download}' '" + statusOf( id )["result"]["url"].asString() + "'" ) );
    }

    const std::string cApi = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/converter/v2";
    Testing::BackendProcess backend_;
    Testing::ScratchFolder folder_;
    std::filesystem::path zip_ = folder_.path() / "bracket.zip";
};

} // namespace

TEST_F( Shares, ForAResultTheOwnersOlderOneGoesAndNobodyElses )
{
    const auto first = converted( "10.0.0.1" );
    const auto result = sizeOfResult( first ), upload = size_t( std::filesystem::file_size( zip_ ) );
    ASSERT_GT( result, 1000u );
    // The next upload fits, and its result does not.
    const auto others = this->upload(
        "10.0.0.2", folder_.write( "large", std::string( cStored - result - upload - result / 2, 'x' ) ) );
    ASSERT_EQ( others.size(), 32u ) << others;
    const auto second = converted( "10.0.0.1" );
    EXPECT_EQ( sizeOfResult( second ), result );
    EXPECT_EQ( statusOf( first )["error"]["message"].asString(), "This conversion is not known; open the file again" );
    EXPECT_EQ( statusOf( others )["result"]["state"].asString(), "not_started" ) << "nobody else's";
}

TEST_F( Shares, WhereNothingOfTheOwnersCanGoTheConversionSaysSo )
{
    const auto measured = converted( "10.0.0.3" );
    const auto result = sizeOfResult( measured ), upload = size_t( std::filesystem::file_size( zip_ ) );
    const auto others = this->upload(
        "10.0.0.2", folder_.write( "large", std::string( cStored - result - upload - result / 2, 'x' ) ) );
    ASSERT_EQ( others.size(), 32u ) << others;
    const auto id = this->upload( "10.0.0.1", zip_ );
    call( "10.0.0.1", "/convert",
        R"({"input_format":"step","compress_input":"zip","output_format":"vxu","request_id":")" + id + "\"}" );
    EXPECT_EQ( ended( id )["error"]["message"].asString(),
        "The conversion service has no room for the result now; try again later" );
    EXPECT_EQ( sizeOfResult( measured ), result );
}
