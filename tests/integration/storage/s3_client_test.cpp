#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/service/RawTlsServer.h"
#include "support/store/Swift.h"

#include "clock/SystemTime.h"
#include "storage/s3/S3Store.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;
using Testing::RawReply;
using Testing::RawTlsServer;

namespace
{

S3Bucket bucket( const std::string& endpoint )
{
    return { endpoint, "orvanta", { "test:tester", "testing" } };
}

/// What every call of a client says.
void expectEach( S3Client& client, StoreTrouble kind, const std::string& text )
{
    const Testing::ScratchFolder folder;
    const auto fetched = folder.path() / "fetched";
    const auto expect = [&]( const auto& done, const char* what )
    {
        ASSERT_FALSE( done ) << what;
        EXPECT_EQ( done.error().kind, kind ) << what << ": " << done.error().text;
        EXPECT_NE( done.error().text.find( text ), std::string::npos ) << what << ": " << done.error().text;
    };
    expect( client.get( "uploads/a", fetched ), "get" );
    EXPECT_FALSE( std::filesystem::exists( fetched ) );
    expect( client.put( "uploads/a", folder.write( "sent", "x" ) ), "put" );
    expect( client.remove( "uploads/a" ), "remove" );
    expect( client.list( "uploads/" ), "list" );
}

} // namespace

TEST( SwiftClient, TellsSizeAndTimeOfAnObject )
{
    const Testing::ScratchFolder folder;
    S3Client client( Testing::swiftBucket(), &systemTime );
    const auto before = systemTime();
    ASSERT_TRUE( client.put( "uploads/sized", folder.write( "sent", std::string( 1234, 'x' ) ) ) );
    const auto head = client.head( "uploads/sized" );
    ASSERT_TRUE( head ) << head.error().text;
    EXPECT_EQ( head->size, 1234u );
    EXPECT_GE( head->written + std::chrono::seconds( 1 ), before );
    EXPECT_LE( head->written, systemTime() + std::chrono::seconds( 2 ) );
}

TEST( SwiftClient, ListsInPartsWhatBeginsSo )
{
    const Testing::ScratchFolder folder;
    S3Client client( Testing::swiftBucket(), &systemTime );
    const auto prefix = "listed-" + folder.path().filename().string() + "/";
    for ( const char* name : { "c", "a", "b" } )
        ASSERT_TRUE( client.put( prefix + name, folder.write( "sent", name ) ) );
    const auto first = client.list( prefix, {}, 2 );
    ASSERT_TRUE( first ) << first.error().text;
    ASSERT_EQ( first->objects.size(), 2u );
    EXPECT_EQ( first->objects[0].key, prefix + "a" );
    EXPECT_EQ( first->objects[1].key, prefix + "b" );
    EXPECT_EQ( first->objects[1].size, 1u );
    EXPECT_LE( std::chrono::abs( first->objects[1].written - systemTime() ), std::chrono::seconds( 60 ) );
    ASSERT_NE( first->next, "" );
    const auto last = client.list( prefix, first->next, 2 );
    ASSERT_TRUE( last ) << last.error().text;
    ASSERT_EQ( last->objects.size(), 1u );
    EXPECT_EQ( last->objects[0].key, prefix + "c" );
    EXPECT_EQ( last->next, "" );
}

TEST( SwiftClient, TidyingLeavesWhatIsNotItsOwn )
{
    const Testing::ScratchFolder folder;
    const auto other = "backups/" + folder.path().filename().string();
    S3Client client( Testing::swiftBucket(), &systemTime );
    ASSERT_TRUE( client.put( other, folder.write( "sent", "x" ) ) );
    S3Store store( { Testing::swiftBucket(), {}, 1000, [] { return uint64_t( 0 ); },
        [] { return systemTime() + std::chrono::minutes( 2 ); } } );
    for ( int part = 0; part < 4; ++part )
        store.removeOlder( std::chrono::seconds( 0 ) );
    EXPECT_TRUE( client.head( other ) );
}

TEST( SwiftClient, ABucketThatIsNotThereIsNoMissingObject )
{
    auto elsewhere = Testing::swiftBucket();
    elsewhere.name = "elsewhere";
    S3Client client( elsewhere, &systemTime );
    expectEach( client, StoreTrouble::Unavailable, "it answered 404, NoSuchBucket" );
}

TEST( SwiftClient, AWrongSecretAndAWrongClockAreNoMissingObjects )
{
    auto stranger = Testing::swiftBucket();
    stranger.credentials.secretKey = "guessed";
    S3Client client( stranger, &systemTime );
    expectEach( client, StoreTrouble::Unavailable, "it answered 403, SignatureDoesNotMatch" );
    S3Client late( Testing::swiftBucket(), [] { return systemTime() - std::chrono::hours( 1 ); } );
    expectEach( late, StoreTrouble::Unavailable, "it answered 403, AccessDenied" );
}

TEST( S3Client, AServiceThatIsAwayOrBrokenIsUnavailable )
{
    S3Client nobody( bucket( "http://127.0.0.1:1" ), &systemTime );
    expectEach( nobody, StoreTrouble::Unavailable, "connect" );
    std::string status = "503 Slow Down";
    const RawTlsServer server(
        [&]( const std::string& ) { return RawTlsServer::answer( "<Error><Code>SlowDown</Code></Error>", status ); } );
    S3Client busy( bucket( RawTlsServer::url( "" ) ), &systemTime );
    expectEach( busy, StoreTrouble::Unavailable, "it answered 503, SlowDown" );
    status = "500 Oh";
    expectEach( busy, StoreTrouble::Unavailable, "it answered 500, SlowDown" );
    EXPECT_EQ( server.connections(), 1u ) << "a connection is kept";
}

TEST( S3Client, AnObjectThatIsCutOffLeavesNoFile )
{
    const Testing::ScratchFolder folder;
    const RawTlsServer server(
        []( const std::string& ) { return RawReply{ "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", true }; } );
    S3Client client( bucket( RawTlsServer::url( "" ) ), &systemTime );
    const auto file = folder.path() / "file";
    const auto got = client.get( "uploads/a", file );
    ASSERT_FALSE( got );
    EXPECT_EQ( got.error().kind, StoreTrouble::Unavailable );
    EXPECT_FALSE( std::filesystem::exists( file ) );
}

TEST( S3Client, AFileThatIsThereIsNotWrittenOver )
{
    const Testing::ScratchFolder folder;
    const RawTlsServer server( []( const std::string& ) { return RawTlsServer::answer( "object" ); } );
    S3Client client( bucket( RawTlsServer::url( "" ) ), &systemTime );
    const auto file = folder.write( "file", "kept" );
    const auto got = client.get( "uploads/a", file );
    ASSERT_FALSE( got );
    EXPECT_NE( got.error().text.find( "File exists" ), std::string::npos ) << got.error().text;
    EXPECT_EQ( Testing::readFile( file ), "kept" );
}

TEST( S3Client, AnAnswerWithoutEndIsCutOff )
{
    const RawTlsServer server(
        []( const std::string& ) { return RawTlsServer::answer( std::string( 5'000'000, 'x' ) ); } );
    S3Client client( bucket( RawTlsServer::url( "" ) ), &systemTime );
    const auto listed = client.list( "uploads/" );
    ASSERT_FALSE( listed );
    EXPECT_EQ( listed.error().kind, StoreTrouble::Unavailable );
}
