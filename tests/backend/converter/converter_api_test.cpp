#include "support/ScratchFolder.h"
#include "support/service/MemoryConnection.h"
#include "support/service/OpenDatabase.h"

#include "converter/ConverterApi.h"
#include "metrics/Measures.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <future>
#include <numeric>
#include <set>

using namespace VX;
using namespace VX::Backend;

namespace
{

class FakeStore final : public ObjectStore
{
public:
    std::string putUrl( const std::string& key, std::chrono::seconds ) override { return "put:" + key; }
    std::string getUrl( const std::string& key, std::chrono::seconds ) override { return "get:" + key; }
    tl::expected<std::optional<uint64_t>, StoreError> sizeOf( const std::string& key ) override
    {
        if ( away )
            return tl::unexpected( StoreError{ StoreTrouble::Unavailable, "away" } );
        return objects.contains( key ) ? std::optional( size ) : std::nullopt;
    }
    tl::expected<void, StoreError> fetch( const std::string&, const std::filesystem::path& ) override { return {}; }
    tl::expected<void, StoreError> store( const std::string&, const std::filesystem::path& ) override { return {}; }
    void remove( const std::string& key ) override { objects.erase( key ); }
    void removeOlder( std::chrono::seconds ) override {}
    bool hasRoomFor( uint64_t ) override { return true; }
    uint64_t excess() override { return 0; }
    std::set<std::string> objects;
    uint64_t size = 10; ///< of each
    bool away = false;
};

/// Statements of this process that have read a database.
uint64_t readings()
{
    const auto each = measures().reads.counts().each;
    return std::accumulate( each.begin(), each.end(), uint64_t( 0 ) );
}

class ConverterApiTest : public testing::Test
{
protected:
    ConverterApiTest()
        : database_( Testing::openDatabase( folder_.path() / "db" ) )
        , jobs_( *database_, [] { return std::chrono::sys_seconds( std::chrono::seconds( 5 ) ); }, { .atOnce = 40 } )
    {
        start( std::chrono::milliseconds( 300 ) );
    }
    void start( std::chrono::milliseconds statusHold, std::chrono::milliseconds lookAgain = std::chrono::seconds( 1 ),
        size_t mostHeld = 1000 )
    {
        auto options = options_;
        options.lookAgain = lookAgain;
        options.mostHeld = mostHeld;
        options.mayConvert = [this](
                                 const std::string& token, const std::string&, const IdentityService::AccessTold& told )
        { told( { open_ || token == "good" ? AccessCheck::Verdict::Good : refusal_, account_ } ); };
        options.statusHold = statusHold;
        api_ = std::make_unique<ConverterApi>( jobs_, store_, options );
    }

    HttpResponse send(
        const std::string& method, const std::string& call, const std::string& body, const std::string& query = {} )
    {
        HttpRequest request;
        request.method = method;
        request.path = "/converter/v2" + call;
        request.query = query;
        request.body = body;
        std::promise<HttpResponse> promise;
        api_->handle( request, [&]( HttpResponse response ) { promise.set_value( std::move( response ) ); } );
        return promise.get_future().get();
    }
    std::string message( const HttpResponse& response ) { return json( response )["error"]["message"].asString(); }
    static Json::Value json( const HttpResponse& response ) { return deserializeJsonValue( response.body ).value(); }
    std::string newId()
    {
        return json(
            send( "POST", "/request", R"({"input_format":"step","compress_input":"zip"})" ) )["result"]["request_id"]
            .asString();
    }
    HttpResponse convert( const std::string& id )
    {
        return send( "POST", "/convert",
            R"({"request_id":")" + id + R"(","input_format":"step","output_format":"vxu","compress_input":"zip"})" );
    }
    HttpResponse status( const std::string& id ) { return send( "GET", "/status", "", "request_id=" + id ); }
    /// The answer to a status call which may be held.
    std::future<HttpResponse> asked( const std::string& id )
    {
        HttpRequest request;
        request.method = "GET";
        request.path = "/converter/v2/status";
        request.query = "request_id=" + id;
        const auto promise = std::make_shared<std::promise<HttpResponse>>();
        api_->handle( request, [promise]( HttpResponse response ) { promise->set_value( std::move( response ) ); } );
        return promise->get_future();
    }
    std::string uploadedId()
    {
        const auto id = newId();
        store_.objects.insert( "uploads/" + id );
        return id;
    }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Database> database_;
    ConversionJobs jobs_;
    FakeStore store_;
    ConverterApiOptions options_;
    bool open_ = true;
    std::string account_ = "ann";
    AccessCheck::Verdict refusal_ = AccessCheck::Verdict::Bad;
    std::unique_ptr<ConverterApi> api_;
};

} // namespace

TEST_F( ConverterApiTest, WalksThroughAConversion )
{
    const auto answer = json( send( "POST", "/request", R"({"input_format":"STEP","compress_input":"zip"})" ) );
    const auto id = answer["result"]["request_id"].asString();
    EXPECT_EQ( answer["result"]["url"], "put:uploads/" + id );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "not_started" );
    store_.objects.insert( "uploads/" + id );
    EXPECT_TRUE( json( convert( id ) )["result"].isObject() );
    EXPECT_TRUE( json( convert( id ) )["result"].isObject() );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "in_progress" );
    const auto taken = jobs_.take().value().value();
    EXPECT_EQ( taken.inputFormat, "step" );
    ASSERT_TRUE( jobs_.finish( taken ) );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "finished" );
    EXPECT_EQ( json( status( id ) )["result"]["url"], "get:results/" + id + "/1" );
}

TEST_F( ConverterApiTest, StatusIsHeldWhileItRunsAndAnsweredAtOnceWhenItEnds )
{
    const auto id = uploadedId();
    convert( id );
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ( json( status( id ) )["result"]["state"], "in_progress" );
    EXPECT_GE( std::chrono::steady_clock::now() - begin, std::chrono::milliseconds( 300 ) );
    auto held = std::async( std::launch::async, [&] { return status( id ); } );
    ASSERT_TRUE( jobs_.fail( jobs_.take().value().value(), "no solids" ) );
    EXPECT_EQ( message( held.get() ), "no solids" );
}

TEST_F( ConverterApiTest, AStopAnswersWhoIsHeldAndHoldsNobodyAfterIt )
{
    start( std::chrono::hours( 1 ) );
    const auto ending = uploadedId(), running = uploadedId();
    convert( ending );
    convert( running );
    auto held = asked( running ), ended = asked( ending );
    ASSERT_TRUE( jobs_.fail( jobs_.take().value().value(), "no solids" ) );
    EXPECT_EQ( message( ended.get() ), "no solids" ) << "so the other one is held, too";
    api_->stop();
    ASSERT_EQ( held.wait_for( std::chrono::seconds( 0 ) ), std::future_status::ready );
    EXPECT_EQ( json( held.get() )["result"]["state"], "in_progress" );
    EXPECT_EQ( json( status( running ) )["result"]["state"], "in_progress" );
}

TEST_F( ConverterApiTest, AHeldCallIsWokenByItsJob )
{
    start( std::chrono::hours( 1 ), std::chrono::hours( 1 ) );
    const auto id = uploadedId(), other = uploadedId();
    convert( id );
    convert( other );
    auto held = asked( id ), others = asked( other );
    ASSERT_TRUE( jobs_.finish( jobs_.take().value().value() ) );
    ASSERT_EQ( held.wait_for( std::chrono::minutes( 1 ) ), std::future_status::ready );
    EXPECT_EQ( json( held.get() )["result"]["state"], "finished" );
    EXPECT_EQ( others.wait_for( std::chrono::seconds( 0 ) ), std::future_status::timeout );
    ASSERT_TRUE( jobs_.cancel( other, "stopped" ).value() );
    ASSERT_EQ( others.wait_for( std::chrono::minutes( 1 ) ), std::future_status::ready );
    EXPECT_EQ( message( others.get() ), "stopped" );
}

TEST_F( ConverterApiTest, AHeldCallHearsOfAJobThatAnotherProcessEnds )
{
    start( std::chrono::hours( 1 ), std::chrono::milliseconds( 5 ) );
    const auto id = uploadedId(), gone = uploadedId();
    convert( id );
    convert( gone );
    auto held = asked( id ), lost = asked( gone );
    ASSERT_TRUE( database_->execute( "UPDATE conversions SET state = 4, error = 'theirs' WHERE id = ?", { id } ) );
    ASSERT_TRUE( database_->execute( "DELETE FROM conversions WHERE id = ?", { gone } ) );
    ASSERT_EQ( held.wait_for( std::chrono::minutes( 1 ) ), std::future_status::ready );
    EXPECT_EQ( message( held.get() ), "theirs" );
    ASSERT_EQ( lost.wait_for( std::chrono::minutes( 1 ) ), std::future_status::ready );
    EXPECT_EQ( lost.get().status, 404 );
}

TEST_F( ConverterApiTest, ADatabaseThatIsBackInTimeIsNothingToAHeldCall )
{
    start( std::chrono::hours( 1 ), std::chrono::milliseconds( 5 ) );
    const auto id = uploadedId();
    convert( id );
    const auto job = jobs_.take().value().value();
    ASSERT_TRUE( database_->execute( "ALTER TABLE conversions RENAME TO away" ) );
    auto held = asked( id );
    ASSERT_TRUE( database_->execute( "ALTER TABLE away RENAME TO conversions" ) );
    ASSERT_TRUE( jobs_.finish( job ) );
    ASSERT_EQ( held.wait_for( std::chrono::minutes( 1 ) ), std::future_status::ready );
    EXPECT_EQ( json( held.get() )["result"]["state"], "finished" );
}

TEST_F( ConverterApiTest, LooksAtTheDatabaseAreFewHoweverManyCallsAreHeld )
{
    constexpr size_t cCalls = 300;
    start( std::chrono::milliseconds( 500 ) );
    const auto id = uploadedId();
    convert( id );
    const auto before = readings();
    std::vector<std::future<HttpResponse>> held;
    for ( size_t i = 0; i < cCalls; ++i )
        held.push_back( asked( id ) );
    for ( auto& call : held )
        EXPECT_EQ( json( call.get() )["result"]["state"], "in_progress" );
    const auto looks = readings() - before;
    EXPECT_GE( looks, cCalls ) << "one when a call comes";
    EXPECT_LE( looks, 2 * cCalls );
}

TEST_F( ConverterApiTest, SoManyCallsAreHeldAndMoreAreAnsweredAtOnce )
{
    start( std::chrono::hours( 1 ), std::chrono::seconds( 1 ), 2 );
    const auto id = uploadedId();
    convert( id );
    auto first = asked( id ), second = asked( id );
    auto third = asked( id );
    ASSERT_EQ( third.wait_for( std::chrono::seconds( 0 ) ), std::future_status::ready );
    EXPECT_EQ( json( third.get() )["result"]["state"], "in_progress" );
    ASSERT_TRUE( jobs_.fail( jobs_.take().value().value(), "no solids" ) );
    EXPECT_EQ( message( first.get() ) + message( second.get() ), "no solidsno solids" );
    const auto next = uploadedId();
    convert( next );
    EXPECT_EQ( asked( next ).wait_for( std::chrono::seconds( 0 ) ), std::future_status::timeout )
        << "and their places are free again";
}

TEST_F( ConverterApiTest, AsksForASignIn )
{
    open_ = false;
    const auto refused = send( "POST", "/request", R"({"input_format":"step","compress_input":"zip"})" );
    EXPECT_EQ( refused.status, 401 );
    EXPECT_EQ( message( refused ), "Sign in to convert files" );
    EXPECT_EQ(
        send( "POST", "/request", R"({"input_format":"step","compress_input":"zip","access_token":"bad"})" ).status,
        401 );
    EXPECT_EQ(
        send( "POST", "/request", R"({"input_format":"step","compress_input":"zip","access_token":"good"})" ).status,
        200 );
}

TEST_F( ConverterApiTest, SaysWhatIsWrongWithARequest )
{
    const auto of = [&]( const std::string& body ) { return message( send( "POST", "/request", body ) ); };
    EXPECT_EQ( of( R"({"input_format":"","compress_input":"zip"})" ),
        "The file has no extension; name it .step or .stp and try again" );
    EXPECT_EQ( of( R"({"input_format":"doc","compress_input":"zip"})" ),
        "Files of type \"doc\" cannot be converted; STEP files can" );
    EXPECT_EQ( of( R"({"input_format":"step"})" ), "The input must be compressed as \"zip\"" );
    EXPECT_EQ( of( "garbage" ), "The request is not a JSON object" );
    EXPECT_EQ( of( "[]" ), "The request is not a JSON object" );
    EXPECT_EQ( of( "{} {}" ), "The request is not a JSON object" );
    EXPECT_EQ( of( R"({"input_format":5,"compress_input":"zip"})" ),
        "The file has no extension; name it .step or .stp and try again" );
}

TEST_F( ConverterApiTest, SaysWhatIsWrongWithAConversion )
{
    EXPECT_EQ( message( convert( newId() ) ), "Nothing was uploaded for this conversion; open the file again" );
    for ( const auto& id :
        { std::string( 32, '0' ), std::string( "../../etc" ), std::string(), std::string( 10000, 'a' ) } )
    {
        EXPECT_EQ( message( convert( id ) ), "This conversion is not known; open the file again" );
        EXPECT_EQ( message( status( id ) ), "This conversion is not known; open the file again" );
    }
    EXPECT_EQ( message( send( "POST", "/convert",
                   R"({"request_id":"x","input_format":"step","output_format":"stl","compress_input":"zip"})" ) ),
        "The output format must be \"vxu\"" );
}

TEST_F( ConverterApiTest, RefusesOtherCallsAndMethods )
{
    EXPECT_EQ( send( "POST", "/other", "{}" ).status, 404 );
    EXPECT_EQ( send( "GET", "/request", "" ).status, 405 );
    EXPECT_EQ( send( "POST", "/status", "{}" ).status, 405 );
}

TEST_F( ConverterApiTest, ACallHasSixtyFourKibibytes )
{
    const auto answer = [&]( size_t length )
    {
        const auto heard = Testing::converse( "POST /converter/v2/request HTTP/1.1\r\nHost: h\r\nContent-Length: " +
                                                  std::to_string( length ) + "\r\n\r\n" + std::string( length, ' ' ),
            *api_ );
        return heard.substr( 0, heard.find( "\r\n" ) );
    };
    EXPECT_EQ( answer( 64 * 1024 ), "HTTP/1.1 400 Bad Request" );
    EXPECT_EQ( answer( 64 * 1024 + 1 ), "HTTP/1.1 413 Payload Too Large" );
}

TEST_F( ConverterApiTest, ASignInThatCannotBeCheckedIsNotCalledBad )
{
    open_ = false;
    refusal_ = AccessCheck::Verdict::Unknown;
    const auto answer =
        send( "POST", "/request", R"({"input_format":"step","compress_input":"zip","access_token":"one"})" );
    EXPECT_EQ( answer.status, 503 );
    EXPECT_EQ( message( answer ), "Your sign-in cannot be checked now; try again in a moment" );
}

TEST_F( ConverterApiTest, WhatCannotBeStoredIsNotAcknowledged )
{
    const auto id = uploadedId();
    // The disk is full for new rows, and then for changed ones.
    Testing::refuseWrites( *database_, "INSERT", "conversions" );
    Testing::refuseWrites( *database_, "UPDATE", "conversions" );
    const auto requested = send( "POST", "/request", R"({"input_format":"step","compress_input":"zip"})" );
    EXPECT_EQ( requested.status, 503 );
    EXPECT_EQ( message( requested ), "The conversion service cannot work now; try again in a moment" );
    EXPECT_EQ( convert( id ).status, 503 );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "not_started" );
    Testing::allowWrites( *database_, "INSERT", "conversions" );
    Testing::allowWrites( *database_, "UPDATE", "conversions" );
    EXPECT_EQ( convert( id ).status, 200 );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "in_progress" );
}

TEST_F( ConverterApiTest, AJobThatCannotBeLookedForIsNotCalledUnknown )
{
    const auto id = uploadedId();
    ASSERT_TRUE( database_->execute( "ALTER TABLE conversions RENAME TO away" ) );
    EXPECT_EQ( convert( id ).status, 503 );
    EXPECT_EQ( status( id ).status, 503 );
    ASSERT_TRUE( database_->execute( "ALTER TABLE away RENAME TO conversions" ) );
    EXPECT_EQ( convert( id ).status, 200 );
}

TEST_F( ConverterApiTest, AnUploadThatCannotBeLookedForIsNotCalledMissing )
{
    const auto id = uploadedId();
    store_.away = true;
    const auto refused = convert( id );
    EXPECT_EQ( refused.status, 503 );
    EXPECT_EQ( message( refused ), "The conversion service cannot work now; try again in a moment" );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "not_started" );
    store_.away = false;
    EXPECT_EQ( convert( id ).status, 200 );
}

TEST_F( ConverterApiTest, AnUploadThatNobodyWasAskedAboutIsCountedOrGoes )
{
    const auto bytesOf = [this]( const std::string& id )
    { return integerOf( database_->query( "SELECT bytes FROM conversions WHERE id = ?", { id } ).value()[0][0] ); };
    const auto asked = uploadedId();
    EXPECT_EQ( convert( asked ).status, 200 );
    EXPECT_EQ( bytesOf( asked ), 0 ) << "the store has counted it";
    options_.maxUpload = uint64_t( 20 ) << 30;
    options_.countUpload = [this]( const ConversionJob& job, uint64_t bytes )
    { return countUploadInto( store_, jobs_, job, bytes ); };
    start( std::chrono::milliseconds( 300 ) );
    const auto id = uploadedId(), second = uploadedId(), third = uploadedId();
    EXPECT_EQ( convert( id ).status, 200 );
    EXPECT_EQ( convert( id ).status, 200 );
    EXPECT_EQ( bytesOf( id ), 10 ) << "once";
    EXPECT_EQ( jobs_.stored().value().bytes, 10u );
    // All but a little of what an owner may have.
    store_.size = ( uint64_t( 8 ) << 30 ) - 9;
    const auto full = convert( second );
    EXPECT_EQ( full.status, 507 );
    EXPECT_EQ( message( full ), "Your files take up all the room that you have; try again when some of them are done" );
    EXPECT_FALSE( store_.objects.contains( "uploads/" + second ) );
    EXPECT_EQ( convert( second ).status, 409 ) << "it is gone";
    store_.size = ( uint64_t( 20 ) << 30 ) + 1;
    const auto large = convert( third );
    EXPECT_EQ( large.status, 413 );
    EXPECT_EQ( message( large ), "The file is too large for the conversion service" );
    EXPECT_FALSE( store_.objects.contains( "uploads/" + third ) );
    EXPECT_EQ( json( status( third ) )["result"]["state"], "not_started" );
}

TEST_F( ConverterApiTest, AnothersConversionIsNotKnown )
{
    const auto id = uploadedId();
    account_ = "bob";
    const auto refused = convert( id );
    EXPECT_EQ( refused.status, 404 );
    EXPECT_EQ( message( refused ), "This conversion is not known; open the file again" );
    EXPECT_EQ( json( status( id ) )["result"]["state"], "not_started" );
    account_ = "ann";
    EXPECT_EQ( convert( id ).status, 200 );
}

TEST_F( ConverterApiTest, WhoHasTooManyAtOnceIsToldSo )
{
    for ( int i = 0; i < 40; ++i )
        ASSERT_NE( newId(), "" );
    const auto refused = send( "POST", "/request", R"({"input_format":"step","compress_input":"zip"})" );
    EXPECT_EQ( refused.status, 429 );
    EXPECT_EQ( message( refused ), "You have too many conversions at once; try again when some of them are done" );
    account_ = "bob";
    EXPECT_NE( newId(), "" );
}

TEST_F( ConverterApiTest, WhileTheServiceStopsNothingIsBegunAndThatIsSaid )
{
    const auto before = uploadedId(), begun = uploadedId();
    ASSERT_TRUE( json( convert( begun ) )["result"].isObject() );
    api_->drain();
    const std::string text = "The conversion service is about to restart; try again in a moment";
    const auto refused = convert( before );
    EXPECT_EQ( refused.status, 503 );
    EXPECT_EQ( message( refused ), text );
    EXPECT_EQ( jobs_.find( before ).value()->state, JobState::Created ) << "and so it can be begun later";
    const auto request = send( "POST", "/request", R"({"input_format":"step","compress_input":"zip"})" );
    EXPECT_EQ( request.status, 503 );
    EXPECT_EQ( message( request ), text );
    EXPECT_TRUE( json( convert( begun ) )["result"].isObject() ) << "what is begun is begun";
    EXPECT_EQ( json( status( begun ) )["result"]["state"], "in_progress" );
}
