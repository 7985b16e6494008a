#include "support/Descriptors.h"
#include "support/ScratchFolder.h"

#include <VXViewer/web/CurlTransfer.h>

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <string_view>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

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
    /// The whole of it, with a file in the place of the server.
    void run()
    {
        request_.url = "file://" + server_.string();
        const auto handle = make().prepare();
        ASSERT_TRUE( handle ) << handle.error();
        curl_easy_setopt( *handle, CURLOPT_PROTOCOLS_STR, "file" );
        transfer_->finish( curl_easy_perform( *handle ) );
    }
    void runAgainst( const std::string& answer )
    {
        serverFolder_.write( "file", answer );
        run();
    }
    /// What is sent to a server of this machine, which answers with nothing once it has a body of that size.
    std::string sentOverASocket( size_t bodySize )
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
        const auto at = reinterpret_cast<sockaddr*>( &address );
        socklen_t size = sizeof address;
        const int listening = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
        EXPECT_EQ( ::bind( listening, at, size ), 0 );
        EXPECT_EQ( ::listen( listening, 1 ), 0 );
        EXPECT_EQ( ::getsockname( listening, at, &size ), 0 );
        std::string out;
        std::thread server( [&] { out = served( ::accept( listening, nullptr, nullptr ), bodySize ); } );
        request_.url = "http://127.0.0.1:" + std::to_string( ntohs( address.sin_port ) );
        const auto handle = make().prepare();
        EXPECT_TRUE( handle );
        if ( handle )
        {
            curl_easy_setopt( *handle, CURLOPT_PROTOCOLS_STR, "http" );
            curl_easy_setopt( *handle, CURLOPT_NOPROXY, "*" );
            transfer_->finish( curl_easy_perform( *handle ) );
        }
        transfer_.reset();
        ::shutdown( listening, SHUT_RDWR );
        server.join();
        ::close( listening );
        return out;
    }
    static std::string served( int connection, size_t bodySize )
    {
        constexpr std::string_view cAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
        std::string out, buffer( 100'000, '\0' );
        for ( ssize_t n = 0; ( n = ::recv( connection, buffer.data(), buffer.size(), 0 ) ) > 0; )
        {
            out.append( buffer, 0, size_t( n ) );
            if ( out.size() == out.find( "\r\n\r\n" ) + 4 + bodySize &&
                 ::send( connection, cAnswer.data(), cAnswer.size(), 0 ) < 0 )
                break;
        }
        ::close( connection );
        return out;
    }
    /// How often this process has read from files until now.
    static int64_t reads()
    {
        std::ifstream figures( "/proc/self/io" );
        for ( std::string name, value; figures >> name >> value; )
            if ( name == "syscr:" )
                return std::stoll( value );
        ADD_FAILURE() << "the system does not count them";
        return 0;
    }
    [[nodiscard]] size_t filesLeft() const
    {
        return size_t( std::distance( std::filesystem::directory_iterator( folder_.path() ), {} ) );
    }

    const Testing::ScratchFolder folder_, serverFolder_;
    const std::filesystem::path server_ = serverFolder_.path() / "file";
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
    request_.inputPath = folder_.write( "in", "b" );
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

TEST_F( Transfer, KeepsATextOfAMegabyteAndNotAByteMore )
{
    runAgainst( std::string( 1 << 20, 'x' ) );
    EXPECT_EQ( response_["error"], "" );
    EXPECT_EQ( response_["text"].asString(), std::string( 1 << 20, 'x' ) );
    runAgainst( std::string( ( 1 << 20 ) + 1, 'x' ) );
    EXPECT_EQ( response_["code"], 507 );
    EXPECT_EQ( response_["error"], "The answer of the server is larger than 1 MB" );
    EXPECT_FALSE( response_.isMember( "text" ) );
}

TEST_F( Transfer, AFileOverItsLimitIsNotKeptNotEvenOfOneByte )
{
    request_.outputPath = folder_.write( "out", "former" );
    request_.maxOutputSize = 0;
    runAgainst( "x" );
    EXPECT_EQ( response_["code"], 507 );
    EXPECT_EQ(
        response_["error"], "Cannot write \"" + request_.outputPath.string() + "\": the answer is larger than 0 MB" );
    EXPECT_EQ( Testing::readFile( request_.outputPath ), "former" );
    EXPECT_EQ( filesLeft(), 1u );
}

TEST_F( Transfer, PassesLargeFilesInFewPieces )
{
    const std::string content( 16 << 20, 'x' );
    request_.outputPath = folder_.path() / "out";
    serverFolder_.write( "file", content );
    auto before = reads();
    run();
    EXPECT_LT( reads() - before, 100 );
    EXPECT_EQ( std::filesystem::file_size( request_.outputPath ), content.size() );
    request_.inputPath = std::exchange( request_.outputPath, {} );
    request_.method = WebMethod::Put;
    before = reads();
    const auto sent = sentOverASocket( content.size() );
    EXPECT_LT( reads() - before, 100 );
    EXPECT_EQ( response_["code"], 200 ) << response_["error"];
    EXPECT_TRUE( sent.ends_with( "\r\n\r\n" + content ) ) << sent.substr( 0, 200 );
}

TEST_F( Transfer, SendsAFileAndLeavesNothingOpenAlsoWhereTheProgramHasNoInput )
{
    request_.method = WebMethod::Put;
    request_.inputPath = folder_.write( "in", "body" );
    run(); // what libcurl keeps open from its first transfer on is open now
    transfer_.reset();
    std::filesystem::remove( server_ );
    const Testing::WithoutInput none;
    run();
    EXPECT_EQ( response_["error"], "" );
    EXPECT_EQ( Testing::readFile( server_ ), "body" );
    transfer_.reset();
    EXPECT_EQ( Testing::nextDescriptor(), 0 );
}
