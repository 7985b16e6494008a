#include "support/ScratchFolder.h"

#include "storage/EmbeddedStore.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

class EmbeddedStoreTest : public testing::Test
{
protected:
    using Told = std::vector<std::pair<std::string, uint64_t>>;

    EmbeddedStoreTest()
        : store_( options() )
    {
        store_.setEndpoint( "https://localhost:1" );
    }

    EmbeddedStoreOptions options()
    {
        return { folder_.path() / "objects", "bucket", { "KEY", "secret", "us-east-1", "" }, 1000, 5000,
            [this] { return now_; },
            [this]( const std::string& key, uint64_t ) { return key == "odd" ? admission_ : Admission::Welcome; },
            [this]( const std::string& key, uint64_t replaced )
            {
                arrived_.emplace_back( key, replaced );
                return key == "late" ? Admission::Gone : Admission::Welcome;
            },
            [this]( const std::string& key, uint64_t length )
            {
                const std::lock_guard lock( mutex_ );
                cutOff_.emplace_back( key, length );
                toldOn_ = std::this_thread::get_id();
                told_.notify_all();
            } };
    }
    /// What was told of uploads that have not come, once there are so many.
    Told cutOff( size_t count )
    {
        std::unique_lock lock( mutex_ );
        EXPECT_TRUE( told_.wait_for( lock, std::chrono::minutes( 1 ), [&] { return cutOff_.size() >= count; } ) );
        return cutOff_;
    }
    /// The head of an upload, whose body has not come.
    BodyPlan planned( const std::string& key, const std::string& length )
    {
        auto request = requestFor( "PUT", store_.putUrl( key, cLife ) );
        request.headers["content-length"] = length;
        return store_.planBody( request );
    }
    static HttpRequest requestFor( const std::string& method, const std::string& url )
    {
        const auto rest = url.substr( std::string( "https://localhost:1" ).size() );
        HttpRequest out;
        out.method = method;
        out.path = rest.substr( 0, rest.find( '?' ) );
        out.query = rest.find( '?' ) == std::string::npos ? "" : rest.substr( rest.find( '?' ) + 1 );
        out.headers["host"] = "localhost:1";
        return out;
    }
    /// Status of a refusal, or 0 when the body would be taken.
    int refusal( const HttpRequest& request )
    {
        const auto plan = store_.planBody( request );
        return plan.refusal ? plan.refusal->status : 0;
    }

    HttpResponse send( HttpRequest request, const std::string& body = {} )
    {
        const auto plan = store_.planBody( request );
        if ( plan.refusal )
            return *plan.refusal;
        if ( !plan.file.empty() )
        {
            request.bodyFile = plan.file;
            folder_.write( "objects/" + plan.file.filename().string(), body );
        }
        HttpResponse out;
        store_.handle( std::move( request ), [&]( HttpResponse response ) { out = std::move( response ); } );
        return out;
    }
    HttpResponse put( const std::string& key, const std::string& body )
    {
        return send( requestFor( "PUT", store_.putUrl( key, cLife ) ), body );
    }
    HttpRequest getting( const std::string& key ) { return requestFor( "GET", store_.getUrl( key, cLife ) ); }

    static constexpr std::chrono::seconds cLife{ 100 };
    Testing::ScratchFolder folder_;
    std::chrono::sys_seconds now_{ std::chrono::seconds( 1'700'000'000 ) };
    Admission admission_ = Admission::Welcome;
    Told arrived_, cutOff_;
    std::mutex mutex_;
    std::condition_variable told_;
    std::thread::id toldOn_;
    EmbeddedStore store_;
};

} // namespace

TEST_F( EmbeddedStoreTest, TakesAnUploadAndGivesItBack )
{
    EXPECT_EQ( put( "uploads/a b ü", "content" ).status, 200 );
    const auto got = send( getting( "uploads/a b ü" ) );
    EXPECT_EQ( got.status, 200 );
    EXPECT_EQ( Testing::readFile( got.file ), "content" );
    EXPECT_EQ( got.fileLength, 7u );
}

TEST_F( EmbeddedStoreTest, ReplacesAnObject )
{
    put( "k", "old" );
    put( "k", "new" );
    EXPECT_EQ( Testing::readFile( send( getting( "k" ) ).file ), "new" );
}

TEST_F( EmbeddedStoreTest, RefusesExpiredAlteredAndWrongMethodUrls )
{
    put( "k", "x" );
    auto altered = getting( "k" );
    altered.path += "2";
    EXPECT_EQ( refusal( altered ), 403 );
    auto wrongMethod = requestFor( "PUT", store_.getUrl( "k", cLife ) );
    EXPECT_EQ( refusal( wrongMethod ), 403 );
    auto unsignedRequest = getting( "k" );
    unsignedRequest.query.clear();
    EXPECT_EQ( refusal( unsignedRequest ), 403 );
    const auto expiring = getting( "k" );
    now_ += std::chrono::seconds( 101 );
    EXPECT_EQ( refusal( expiring ), 403 );
    EXPECT_NE( store_.planBody( expiring ).refusal->body.find( "<Code>AccessDenied</Code>" ), std::string::npos );
}

TEST_F( EmbeddedStoreTest, HeadMayUseTheUrlOfAGetAndOtherMethodsNothing )
{
    put( "k", "x" );
    auto head = getting( "k" );
    head.method = "HEAD";
    EXPECT_EQ( refusal( head ), 0 );
    head.method = "DELETE";
    EXPECT_EQ( refusal( head ), 405 );
}

TEST_F( EmbeddedStoreTest, AnObjectIsAFileForABrowserAndNeverAPage )
{
    put( "k", "<script>" );
    auto ranged = getting( "k" );
    ranged.headers["range"] = "bytes=0-1";
    for ( const auto& got : { send( getting( "k" ) ), send( ranged ) } )
    {
        EXPECT_EQ( got.contentType, "application/octet-stream" );
        EXPECT_EQ( got.headers.at( "X-Content-Type-Options" ), "nosniff" );
        EXPECT_EQ( got.headers.at( "Content-Disposition" ), "attachment" );
    }
}

TEST_F( EmbeddedStoreTest, ServesRanges )
{
    put( "k", "0123456789" );
    const auto ranged = [&]( const std::string& range )
    {
        auto request = getting( "k" );
        request.headers["range"] = range;
        return send( request );
    };
    const auto middle = ranged( "bytes=2-4" );
    EXPECT_EQ( middle.status, 206 );
    EXPECT_EQ( middle.fileOffset, 2u );
    EXPECT_EQ( middle.fileLength, 3u );
    EXPECT_EQ( middle.headers.at( "Content-Range" ), "bytes 2-4/10" );
    EXPECT_EQ( ranged( "bytes=8-" ).fileLength, 2u );
    EXPECT_EQ( ranged( "bytes=-3" ).fileOffset, 7u );
    EXPECT_EQ( ranged( "bytes=5-99" ).fileLength, 5u );
    for ( const char* bad : { "bytes=10-", "bytes=5-2", "bytes=a-b", "bytes=1-2,4-5", "lines=1-2", "bytes=-0",
              "bytes=", "bytes=99999999999999999999-" } )
        EXPECT_EQ( ranged( bad ).status, 416 ) << bad;
}

TEST_F( EmbeddedStoreTest, SaysThatAnObjectIsNotThere )
{
    EXPECT_EQ( send( getting( "missing" ) ).status, 404 );
}

TEST_F( EmbeddedStoreTest, LimitsTheSizeOfAnUpload )
{
    EXPECT_EQ( store_.planBody( requestFor( "PUT", store_.putUrl( "k", cLife ) ) ).maxSize, 1000u );
}

TEST_F( EmbeddedStoreTest, NoKeyLeavesTheFolder )
{
    put( "../../../escape", "x" );
    put( "..", "y" );
    EXPECT_FALSE( std::filesystem::exists( folder_.path().parent_path() / "escape" ) );
    EXPECT_EQ( Testing::readFile( send( getting( "../../../escape" ) ).file ), "x" );
    EXPECT_EQ( send( getting( "../../../escape" ) ).file.parent_path().parent_path(), folder_.path() / "objects" );
}

TEST_F( EmbeddedStoreTest, StoresAndFetchesLocalFiles )
{
    ASSERT_TRUE( store_.store( "r", folder_.write( "result", "bytes" ) ) );
    EXPECT_TRUE( store_.sizeOf( "r" ).value() );
    ASSERT_TRUE( store_.fetch( "r", folder_.path() / "copy" ) );
    EXPECT_EQ( Testing::readFile( folder_.path() / "copy" ), "bytes" );
    store_.remove( "r" );
    EXPECT_FALSE( store_.sizeOf( "r" ).value() );
    EXPECT_FALSE( store_.fetch( "r", folder_.path() / "again" ) );
}

TEST_F( EmbeddedStoreTest, WhatIsMissingIsToldFromAStoreThatIsAway )
{
    ASSERT_TRUE( store_.store( "r", folder_.write( "result", "bytes" ) ) );
    EXPECT_EQ( store_.fetch( "other", folder_.path() / "copy" ).error().kind, StoreTrouble::Missing );
    const auto objects = folder_.path() / "objects";
    std::filesystem::rename( objects, folder_.path() / "away" );
    EXPECT_EQ( store_.fetch( "r", folder_.path() / "copy" ).error().kind, StoreTrouble::Unavailable );
    EXPECT_EQ( store_.store( "s", folder_.write( "s", "x" ) ).error().kind, StoreTrouble::Unavailable );
    std::filesystem::rename( folder_.path() / "away", objects );
    EXPECT_EQ( store_.fetch( "r", folder_.path() / "nowhere" / "copy" ).error().kind, StoreTrouble::Unavailable )
        << "that is no fault of the object's";
    EXPECT_EQ( store_.store( "s", folder_.path() / "nothing" ).error().kind, StoreTrouble::Missing );
    // What a try before has left in the place does not keep the next one from it.
    folder_.write( "copy", "by" );
    ASSERT_TRUE( store_.fetch( "r", folder_.path() / "copy" ) );
    EXPECT_EQ( Testing::readFile( folder_.path() / "copy" ), "bytes" );
}

TEST_F( EmbeddedStoreTest, ADiskThatCannotBeReadIsNoMissingObject )
{
    put( "k", "x" );
    auto head = getting( "k" );
    head.method = "HEAD";
    const auto objects = folder_.path() / "objects", away = folder_.path() / "away";
    const auto expectTrouble = [&]( const char* how )
    {
        for ( const auto& request : { getting( "k" ), head } )
        {
            const auto answer = send( request );
            EXPECT_EQ( answer.status, 503 ) << how;
            EXPECT_NE( answer.body.find( "<Code>ServiceUnavailable</Code>" ), std::string::npos ) << answer.body;
        }
        EXPECT_EQ( store_.sizeOf( "k" ).error().kind, StoreTrouble::Unavailable ) << how;
    };
    std::filesystem::rename( objects, away );
    expectTrouble( "the whole store is away" );
    std::filesystem::rename( away, objects );
    // As a fault of the disk would: a path that leads through what is no folder any more.
    const auto part = objects / send( getting( "k" ) ).file.parent_path().filename();
    std::filesystem::rename( part, away );
    folder_.write( "objects/" + part.filename().string(), "no folder" );
    expectTrouble( "a part of it is" );
    EXPECT_EQ( put( "k", "y" ).status, 503 ) << "and what comes is not refused for good";
    std::filesystem::remove( part );
    std::filesystem::rename( away, part );
    EXPECT_EQ( send( getting( "k" ) ).status, 200 );
    EXPECT_EQ( put( "k", "y" ).status, 200 );
}

TEST_F( EmbeddedStoreTest, DoesNotFollowALinkInPlaceOfAResult )
{
    folder_.write( "secret", "host file" );
    std::filesystem::create_symlink( folder_.path() / "secret", folder_.path() / "result" );
    EXPECT_EQ( store_.store( "r", folder_.path() / "result" ).error().kind, StoreTrouble::Missing );
    EXPECT_FALSE( store_.sizeOf( "r" ).value() );
}

TEST_F( EmbeddedStoreTest, LimitsTheSizeOfAllObjectsTogether )
{
    for ( const char* key : { "a", "b", "c", "d", "e" } )
        EXPECT_EQ( put( key, std::string( 900, 'x' ) ).status, 200 );
    auto request = requestFor( "PUT", store_.putUrl( "f", cLife ) );
    request.headers["content-length"] = "501";
    EXPECT_EQ( refusal( request ), 507 );
    request.headers["content-length"] = "500";
    EXPECT_EQ( refusal( request ), 0 );
    EXPECT_EQ( store_.excess(), 0u );
    ASSERT_TRUE( store_.store( "f", folder_.write( "result", std::string( 800, 'x' ) ) ) );
    EXPECT_EQ( store_.excess(), 300u );
    store_.remove( "a" );
    EXPECT_EQ( store_.excess(), 0u );
}

TEST_F( EmbeddedStoreTest, ForgetsWhatHasLainForLong )
{
    put( "old", "x" );
    for ( const auto& entry : std::filesystem::recursive_directory_iterator( folder_.path() / "objects" ) )
        std::filesystem::last_write_time(
            entry.path(), std::filesystem::file_time_type::clock::now() - std::chrono::hours( 3 ) );
    put( "new", "x" );
    for ( int part = 0; part < 16; ++part )
        store_.removeOlder( std::chrono::hours( 2 ) );
    EXPECT_FALSE( store_.sizeOf( "old" ).value() );
    EXPECT_TRUE( store_.sizeOf( "new" ).value() );
    EXPECT_EQ( store_.stored().objects, 1u ) << "what has gone counts no longer";
    EXPECT_EQ( store_.stored().bytes, 1u );
}

TEST_F( EmbeddedStoreTest, RoomIsPromisedAtTheHeadOfAnUpload )
{
    std::vector<BodyPlan> coming;
    for ( const char* key : { "a", "b", "c", "d", "e" } )
    {
        coming.push_back( planned( key, "1000" ) );
        ASSERT_FALSE( coming.back().refusal );
    }
    EXPECT_EQ( planned( "f", "1" ).refusal.value().status, 507 ) << "before a byte of the others has come";
    coming.pop_back();
    EXPECT_EQ( cutOff( 1 ), Told( { { "e", 1000 } } ) );
    EXPECT_NE( toldOn_, std::this_thread::get_id() ) << "who lets an upload go waits for nobody";
    EXPECT_FALSE( planned( "f", "1000" ).refusal );
}

TEST_F( EmbeddedStoreTest, WhatHasComeIsCountedOnce )
{
    EXPECT_EQ( put( "a", std::string( 900, 'x' ) ).status, 200 );
    EXPECT_EQ( put( "a", std::string( 800, 'x' ) ).status, 200 ) << "it replaces the first";
    EXPECT_TRUE( store_.hasRoomFor( 4200 ) );
    EXPECT_FALSE( store_.hasRoomFor( 4201 ) );
    EXPECT_TRUE( cutOff( 0 ).empty() );
    store_.remove( "a" );
    store_.remove( "a" );
    EXPECT_TRUE( store_.hasRoomFor( 5000 ) );
}

TEST_F( EmbeddedStoreTest, AnUploadThatNobodyWaitsForAnyMoreGoes )
{
    EXPECT_EQ( put( "late", std::string( 900, 'x' ) ).status, 404 );
    EXPECT_FALSE( store_.sizeOf( "late" ).value() );
    EXPECT_TRUE( store_.hasRoomFor( 5000 ) );
    EXPECT_TRUE( cutOff( 0 ).empty() );
}

TEST_F( EmbeddedStoreTest, TellsWhatAnUploadReplaces )
{
    put( "a", std::string( 900, 'x' ) );
    put( "a", std::string( 800, 'x' ) );
    EXPECT_EQ( arrived_, Told( { { "a", 0 }, { "a", 900 } } ) );
}

TEST_F( EmbeddedStoreTest, TellsWhyAnUploadIsNotWelcome )
{
    const std::map<Admission, int> statuses{
        { Admission::Gone, 404 }, { Admission::NoRoom, 507 }, { Admission::Unknown, 503 } };
    for ( const auto& [admission, status] : statuses )
    {
        admission_ = admission;
        EXPECT_EQ( planned( "odd", "1" ).refusal.value().status, status );
    }
    EXPECT_TRUE( cutOff( 0 ).empty() ) << "they were never let in";
    EXPECT_TRUE( store_.hasRoomFor( 5000 ) );
}

TEST_F( EmbeddedStoreTest, CountsWhatLiesThereWhenItStarts )
{
    put( "a", std::string( 700, 'x' ) );
    const auto name = send( getting( "a" ) ).file.filename().string();
    // As older versions had it, and what a crash has left of an upload.
    std::filesystem::rename( send( getting( "a" ) ).file, folder_.path() / "objects" / name );
    folder_.write( "objects/upload-0", std::string( 900, 'x' ) );
    folder_.write( "objects/incoming-12", std::string( 900, 'x' ) );
    EmbeddedStore again( options() );
    EXPECT_TRUE( again.sizeOf( "a" ).value() );
    EXPECT_TRUE( again.hasRoomFor( 4300 ) );
    EXPECT_FALSE( again.hasRoomFor( 4301 ) );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "objects/upload-0" ) );
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "objects/incoming-12" ) );
}

TEST_F( EmbeddedStoreTest, TidyingCorrectsTheSum )
{
    put( "a", std::string( 700, 'x' ) );
    std::filesystem::remove( send( getting( "a" ) ).file );
    EXPECT_FALSE( store_.hasRoomFor( 5000 ) );
    for ( int part = 0; part < 16; ++part )
        store_.removeOlder( std::chrono::hours( 2 ) );
    EXPECT_TRUE( store_.hasRoomFor( 5000 ) );
}

TEST_F( EmbeddedStoreTest, AnUploadCountsNoOtherObject )
{
    put( "a", std::string( 1000, 'x' ) );
    std::filesystem::remove( send( getting( "a" ) ).file );
    std::vector<BodyPlan> coming;
    for ( const char* key : { "b", "c", "d", "e" } )
        coming.push_back( planned( key, "1000" ) );
    EXPECT_EQ( planned( "f", "1" ).refusal.value().status, 507 ) << "the sum is what was kept, not what lies there";
}
