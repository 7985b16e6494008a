#include "support/ScratchFolder.h"

#include <VXViewer/web/CurlTransfer.h>

#include <gtest/gtest.h>

#include <optional>

#include <sys/stat.h>

using namespace VX;

namespace
{

/// A transfer whose answer never has to come: what is prepared, and what is said of its end.
class Transfer : public testing::Test
{
protected:
    Transfer()
    {
        request_.url = "https://example.org/a";
        request_.logName = "test";
    }
    CurlTransfer& make()
    {
        return transfer_.emplace( request_,
            [this]( Json::Value response )
            {
                ++answers_;
                response_ = std::move( response );
            } );
    }
    /// The error of its preparation.
    std::string preparing()
    {
        const auto handle = make().prepare();
        return handle ? "" : handle.error();
    }
    template <typename T>
    T info( CURLINFO what )
    {
        T out{};
        const auto handle = make().prepare();
        EXPECT_TRUE( handle );
        if ( handle )
            curl_easy_getinfo( *handle, what, &out );
        return out;
    }
    std::string url() { return info<const char*>( CURLINFO_EFFECTIVE_URL ); }
    std::string method() { return info<const char*>( CURLINFO_EFFECTIVE_METHOD ); }
    void finish( CURLcode result )
    {
        ASSERT_TRUE( make().prepare() );
        transfer_->finish( result );
        EXPECT_EQ( answers_, 1 );
    }
    [[nodiscard]] size_t filesLeft() const
    {
        return size_t( std::distance( std::filesystem::directory_iterator( folder_.path() ), {} ) );
    }

    const Testing::ScratchFolder folder_;
    WebRequestData request_;
    std::optional<CurlTransfer> transfer_;
    int answers_ = 0;
    Json::Value response_;
};

} // namespace

TEST_F( Transfer, ParametersAreAppendedAndEscaped )
{
    EXPECT_EQ( url(), "https://example.org/a" );
    request_.parameters = { { "a b", "1&2" }, { "c", "" }, { "d", "\u00e4=/?" } };
    EXPECT_EQ( url(), "https://example.org/a?a%20b=1%262&c=&d=%C3%A4%3D%2F%3F" );
    request_.url = "https://example.org/a?signature=x";
    request_.parameters = { { "c", "1" }, { "d", "2" } };
    EXPECT_EQ( url(), "https://example.org/a?signature=x&c=1&d=2" ) << "behind what was there";
}

TEST_F( Transfer, EachMethodIsSaidByItsName )
{
    const std::pair<WebMethod, const char*> names[] = { { WebMethod::Get, "GET" }, { WebMethod::Post, "POST" },
        { WebMethod::Put, "PUT" }, { WebMethod::Patch, "PATCH" }, { WebMethod::Delete, "DELETE" } };
    for ( const auto& [value, name] : names )
    {
        request_.method = value;
        EXPECT_EQ( method(), name );
    }
    request_.method = WebMethod::Post;
    request_.inputPath = folder_.write( "in", "body" );
    EXPECT_EQ( method(), "POST" ) << "also with a file, which libcurl would put";
}

TEST_F( Transfer, AFileThatIsMissingIsTold )
{
    request_.inputPath = folder_.path() / "\u00e4";
    EXPECT_EQ( preparing(), "Cannot read \"" + request_.inputPath.string() + "\": No such file or directory" );
}

TEST_F( Transfer, WhatIsNoFileIsNotWaitedFor )
{
    request_.inputPath = folder_.path() / "fifo";
    ASSERT_EQ( ::mkfifo( request_.inputPath.c_str(), 0600 ), 0 );
    EXPECT_EQ( preparing(), "Cannot read \"" + request_.inputPath.string() + "\": it is not a regular file" );
    request_.inputPath = folder_.path();
    EXPECT_EQ( preparing(), "Cannot read \"" + folder_.path().string() + "\": it is not a regular file" );
    request_.inputPath = "/dev/zero";
    EXPECT_EQ( preparing(), "Cannot read \"/dev/zero\": it is not a regular file" );
}

TEST_F( Transfer, AnOutputThatCannotBeMadeIsTold )
{
    request_.outputPath = folder_.path() / "nowhere/out";
    EXPECT_EQ( preparing(), "Cannot write \"" + request_.outputPath.string() + "\": No such file or directory" );
}

TEST_F( Transfer, AFailureIsAnAnswerWithoutACode )
{
    request_.outputPath = folder_.write( "out", "former" );
    ASSERT_EQ( preparing(), "" );
    transfer_->fail( "The program is closing" );
    EXPECT_EQ( answers_, 1 );
    EXPECT_EQ( response_["code"], 0 );
    EXPECT_EQ( response_["error"], "The program is closing" );
    EXPECT_EQ( response_["text"], "" );
    EXPECT_EQ( Testing::readFile( request_.outputPath ), "former" );
    EXPECT_EQ( filesLeft(), 1u ) << "no part is left, although the transfer still stands";
}

TEST_F( Transfer, SaysWhichAddressDidNotAnswer )
{
    finish( CURLE_COULDNT_RESOLVE_HOST );
    EXPECT_EQ( response_["code"], 0 );
    EXPECT_EQ( response_["error"], "example.org did not answer: its name was not found" );
}

TEST_F( Transfer, SaysWhatLibcurlSaysWhereItKnowsNoReasonItself )
{
    finish( CURLE_TOO_MANY_REDIRECTS );
    EXPECT_EQ( response_["error"], curl_easy_strerror( CURLE_TOO_MANY_REDIRECTS ) );
}

TEST_F( Transfer, MovesItsFileIntoPlaceAtTheEnd )
{
    request_.outputPath = folder_.write( "out", "former" );
    finish( CURLE_OK );
    EXPECT_EQ( response_["error"], "" );
    EXPECT_EQ( Testing::readFile( request_.outputPath ), "" ) << "the answer was empty";
    EXPECT_EQ( std::filesystem::status( request_.outputPath ).permissions(), std::filesystem::perms( 0600 ) );
    EXPECT_EQ( filesLeft(), 1u );
}

TEST_F( Transfer, ThatBreaksOffLeavesTheFormerFile )
{
    request_.outputPath = folder_.write( "out", "former" );
    finish( CURLE_PARTIAL_FILE );
    EXPECT_EQ( response_["error"], "example.org did not answer: the connection broke off" );
    EXPECT_EQ( Testing::readFile( request_.outputPath ), "former" );
    EXPECT_EQ( filesLeft(), 1u );
}

TEST_F( Transfer, WhoseFileCannotBeMovedHasAnAnswerThatWasNotKept )
{
    request_.outputPath = folder_.path() / "out";
    ASSERT_EQ( preparing(), "" );
    std::filesystem::create_directory( request_.outputPath );
    transfer_->finish( CURLE_OK );
    EXPECT_EQ( response_["code"], 507 );
    EXPECT_EQ( response_["error"], "Cannot write \"" + request_.outputPath.string() + "\": Is a directory" );
    EXPECT_FALSE( response_.isMember( "text" ) );
}

TEST_F( Transfer, TellsTheEndOfBothKindsOfProgress )
{
    std::string told;
    request_.uploadProgress = [&]( float fraction )
    { return told += "up" + std::to_string( int( fraction * 10 ) ), true; };
    request_.downloadProgress = [&]( float fraction )
    { return told += "down" + std::to_string( int( fraction * 10 ) ), true; };
    finish( CURLE_OK );
    EXPECT_EQ( told, "down10" ) << "without a file nothing is sent up";
    answers_ = 0;
    request_.inputPath = folder_.write( "in", "body" );
    finish( CURLE_OK );
    EXPECT_EQ( told, "down10up10down10" );
}

TEST_F( Transfer, MayBeStoppedUntilTheVeryEnd )
{
    request_.outputPath = folder_.write( "out", "former" );
    request_.downloadProgress = []( float ) { return false; };
    finish( CURLE_OK );
    EXPECT_EQ( response_["code"], 0 );
    EXPECT_EQ( response_["error"], cOperationCanceled );
    EXPECT_EQ( Testing::readFile( request_.outputPath ), "former" );
    request_.downloadProgress = {};
    request_.inputPath = folder_.write( "in", "body" );
    request_.uploadProgress = []( float ) { return false; };
    answers_ = 0;
    finish( CURLE_OK );
    EXPECT_EQ( response_["error"], cOperationCanceled );
}
