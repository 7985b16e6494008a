#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/database/TestDatabase.h"
#include "support/service/BackendProcess.h"
#include "support/service/Processes.h"
#include "support/store/Swift.h"

#include "clock/SystemTime.h"
#include "converter/ConversionJobs.h"
#include "database/DatabaseFiles.h"
#include "database/postgres/PostgresEngine.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXOrvanta/deferred/WebRequestFuture.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <future>
#include <set>
#include <thread>

#include <unistd.h>

using namespace VX;
using Testing::BackendProcess;

namespace
{

constexpr const char* cSignUp =
    R"({"Username":"ann@example.org","Password":"secret-word-1","UserAttributes":[{"Name":"email","Value":"ann@example.org"}]})";
constexpr const char* cSignIn =
    R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"ann@example.org","PASSWORD":"secret-word-1"}})";

/// Processes of the back end that share a database and a store, as if each was on a machine of its own, and this
/// process as the client of the one at the port that the client knows.
class Machines : public testing::Test
{
protected:
    using Processes = std::unique_ptr<BackendProcess>;

    Machines() { Testing::letBackendsUse( bucket_ ); }
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        std::error_code ec;
        for ( const char* end : { ".vxu", ".input.zip" } )
            std::filesystem::remove( "/.service_output_files/" + name_ + end, ec );
    }
    Processes start( const std::string& command, std::vector<std::string> options, int port )
    {
        options.insert( options.end(), { "--store-endpoint", bucket_.endpoint } );
        const char* trusted = std::getenv( "SSL_CERT_FILE" );
        const std::string before = trusted ? trusted : "";
        ::setenv( "SSL_CERT_FILE", Testing::swiftCertificate().c_str(), 1 );
        auto out = std::make_unique<BackendProcess>( std::move( options ), std::filesystem::path(),
            std::vector<std::string>(), Testing::BackendRole{ command, port, database_ } );
        // What nobody calls is nothing to this client.
        if ( port == 0 && !before.empty() )
            ::setenv( "SSL_CERT_FILE", before.c_str(), 1 );
        return out;
    }
    /// One that takes calls and converts nothing.
    Processes front( int port = ORVANTA_TEST_PORT, std::vector<std::string> options = {} )
    {
        options.insert( options.end(), { "--slots", "0" } );
        auto out = start( "serve", std::move( options ), port );
        if ( port == ORVANTA_TEST_PORT )
        {
            // Of the service and of the store.
            const auto both = folder_.write( "both.pem",
                Testing::readFile( out->data() / "ca.pem" ) + Testing::readFile( Testing::swiftCertificate() ) );
            ::setenv( "SSL_CERT_FILE", both.c_str(), 1 );
        }
        return out;
    }
    Processes worker() { return start( "work", { "--slots", "1" }, 0 ); }

    std::string import()
    {
        const auto sample = Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" );
        const auto result =
            ConverterService::fromStep( folder_.write( name_ + ".step", sample + "/* " + name_ + " */\n" ) );
        return result ? std::to_string( result->objects.size() ) + " objects" : result.error();
    }
    /// Lets its worker stand still from before its next job on.
    void hold( const BackendProcess& process )
    {
        bool held = false;
        for ( const Testing::Patience patience; !held; patience.check( "no worker starts" ) )
            for ( const int pid : Testing::descendantsOf( process.pid() ) )
                // One that was held before has had its job.
                if ( Testing::isWorker( pid ) && !held_.contains( pid ) )
                {
                    held = ::kill( pid, SIGSTOP ) == 0;
                    held_.insert( pid );
                }
    }
    [[nodiscard]] std::vector<Backend::SqlRow> look( const std::string& sql ) const
    {
        const auto database =
            Backend::Database::open( std::make_unique<Backend::PostgresEngine>( database_, Backend::cMainSchema ) );
        return ( *database )->query( sql ).value();
    }
    void awaitRunning() const
    {
        for ( const Testing::Patience patience; look( "SELECT 1 FROM conversions WHERE state = 2" ).empty();
            patience.check( "nobody takes the job" ) )
            std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    }
    /// What the service at a port answers to a call about accounts.
    [[nodiscard]] Json::Value identity(
        const BackendProcess& process, int port, const std::string& name, const std::string& body ) const
    {
        const auto answer = Testing::runCommand( fmt::format(
            "curl -s --max-time 60 --cacert '{}' -H 'X-Amz-Target: AWSCognitoIdentityProviderService.{}' -H "
            "'Content-Type: application/x-amz-json-1.1' -d '{}' https://localhost:{}/auth",
            ( process.data() / "ca.pem" ).string(), name, body, port ) );
        return deserializeJsonValue( answer.text ).value_or( Json::Value( answer.text ) );
    }
    static std::string mailedCode( const BackendProcess& process )
    {
        for ( const auto& mail : std::filesystem::directory_iterator( process.data() / "outbox" ) )
        {
            const auto text = Testing::readFile( mail.path() );
            return text.substr( text.find( "code is " ) + 8, 6 );
        }
        return {};
    }

    const std::string name_ = "orvanta-machines-" + std::to_string( ::getpid() );
    Testing::ScratchFolder folder_;
    Backend::S3Bucket bucket_ = Testing::swiftBucket();
    std::string database_ = Testing::newPostgresDatabase();
    std::set<int> held_;
};

} // namespace

TEST_F( Machines, WhatOneTakesAnotherConverts )
{
    const auto front = this->front( ORVANTA_TEST_PORT, { "--allow-anonymous" } );
    const auto worker = this->worker();
    EXPECT_EQ( import(), "1 objects" );
    EXPECT_EQ( look( "SELECT state, attempts FROM conversions" ),
        ( std::vector<Backend::SqlRow>{ { int64_t( 3 ), int64_t( 1 ) } } ) );
    EXPECT_FALSE( std::filesystem::exists( worker->data() / "ca.pem" ) ) << "nobody calls it";
    EXPECT_FALSE( std::filesystem::exists( front->data() / "work" ) ) << "it converts nothing";
}

TEST_F( Machines, AJobOfAWorkerThatDiesRunsElsewhere )
{
    const auto front = this->front( ORVANTA_TEST_PORT, { "--allow-anonymous" } );
    auto dead = worker();
    hold( *dead );
    auto imported = std::async( std::launch::async, [this] { return import(); } );
    awaitRunning();
    dead->kill();
    const auto other = worker();
    EXPECT_EQ( imported.get(), "1 objects" );
    EXPECT_EQ( look( "SELECT state, attempts, deaths FROM conversions" ),
        ( std::vector<Backend::SqlRow>{ { int64_t( 3 ), int64_t( 2 ), int64_t( 1 ) } } ) );
}

TEST_F( Machines, OneThatWakesAfterItsLeaseChangesNothing )
{
    const auto front = this->front( ORVANTA_TEST_PORT, { "--allow-anonymous" } );
    const auto asleep = worker();
    hold( *asleep );
    auto imported = std::async( std::launch::async, [this] { return import(); } );
    awaitRunning();
    asleep->signal( SIGSTOP );
    const auto other = worker();
    EXPECT_EQ( imported.get(), "1 objects" );
    const auto ended = look( "SELECT state, attempts, taker, ended FROM conversions" );
    asleep->signal( SIGCONT );
    // It takes the next one once it has let go of that.
    other->signal( SIGSTOP );
    EXPECT_EQ( import(), "1 objects" );
    other->signal( SIGCONT );
    EXPECT_EQ( look( "SELECT state, attempts, taker, ended FROM conversions ORDER BY rowid LIMIT 1" ), ended );
}

namespace
{

/// Two front ends and a worker behind the balancer, which this process is a client of.
class Balanced : public Machines
{
protected:
    static constexpr std::array cPorts = { ORVANTA_TEST_PORT + 11, ORVANTA_TEST_PORT + 12 };

    Balanced()
    {
        // Each stands for all that a machine is known by.
        for ( size_t i = 0; i < cPorts.size(); ++i )
            fronts_.push_back( front( cPorts[i], { "--allow-anonymous", "--trusted-proxy", "127.0.0.0/8" } ) );
        const auto& own = fronts_[0]->data();
        const auto chain = folder_.write(
            "balancer.pem", Testing::readFile( own / "server.pem" ) + Testing::readFile( own / "server-key.pem" ) );
        std::string authorities;
        for ( const auto& front : fronts_ )
            authorities += Testing::readFile( front->data() / "ca.pem" );
        const auto fronts = folder_.write( "fronts.pem", authorities );
        trusted_ = folder_.write( "all.pem", authorities + Testing::readFile( Testing::swiftCertificate() ) );
        trust();
        const auto begun = Testing::runCommand( fmt::format(
            "ORVANTA_BIND=127.0.0.1:{} ORVANTA_PEM='{}' ORVANTA_FRONTS_CA='{}' ORVANTA_FRONTS_NAME=localhost "
            "ORVANTA_FRONT_1=127.0.0.1:{} ORVANTA_FRONT_2=127.0.0.1:{} haproxy -D -p '{}' -f " ORVANTA_TEST_DATA
            "/../packaging/linux/haproxy.cfg 2>&1",
            ORVANTA_TEST_PORT, chain.string(), fronts.string(), cPorts[0], cPorts[1], pids().string() ) );
        EXPECT_EQ( begun.status, 0 ) << begun.text;
    }
    ~Balanced() override { Testing::runCommand( "kill -9 $(cat '" + pids().string() + "')" ); }
    [[nodiscard]] std::filesystem::path pids() const { return folder_.path() / "haproxy.pid"; }
    void trust() const { ::setenv( "SSL_CERT_FILE", trusted_.c_str(), 1 ); }
    void restart( BackendProcess& process ) const
    {
        // It asks the store.
        trust();
        process.restart();
        trust();
    }

    std::filesystem::path trusted_; ///< authorities of all that anybody asks here
    std::vector<Processes> fronts_;
};

} // namespace

TEST_F( Balanced, ClientsDoNotNoticeAFrontEndThatDies )
{
    const auto worker = this->worker();
    std::atomic<size_t> done = 0, most = SIZE_MAX;
    auto imports = std::async( std::launch::async,
        [&]
        {
            std::vector<std::string> out;
            while ( out.size() < most )
            {
                out.push_back( import() );
                ++done;
            }
            return out;
        } );
    const auto awaitMore = [&]( size_t more )
    {
        const size_t goal = done + more;
        for ( const Testing::Patience patience; done < goal; patience.check( "no import ends" ) )
            std::this_thread::yield();
    };
    for ( auto& victim : fronts_ )
    {
        awaitMore( 2 );
        victim->kill();
        awaitMore( 3 );
        restart( *victim );
    }
    most = 0;
    const auto ended = imports.get();
    EXPECT_EQ( ended, std::vector<std::string>( ended.size(), "1 objects" ) );
}

namespace
{

/// The same with a database server of the test's own, whose plug it pulls.
class PulledPlug : public Machines
{
protected:
    PulledPlug()
    {
        act( "start", " 16020" );
        database_ = "postgresql://tester@127.0.0.1:16020/orvanta";
    }
    ~PulledPlug() override { act( "stop" ); }
    void act( const std::string& what, const std::string& more = {} )
    {
        const auto done = Testing::runCommand( ORVANTA_TEST_DATA "/support/database/postgres " + what + " '" +
                                               ( folder_.path() / "server" ).string() + "'" + more + " 2>&1" );
        EXPECT_EQ( done.status, 0 ) << done.text;
    }
    [[nodiscard]] static std::string problem( const Json::Value& answer )
    {
        return answer.isObject() ? answer["__type"].asString() : answer.asString();
    }
};

} // namespace

TEST_F( PulledPlug, NobodyHearsAWrongWordAndNothingIsLost )
{
    const auto front = this->front( ORVANTA_TEST_PORT, { "--allow-anonymous" } );
    const auto worker = this->worker();
    const auto call = [&]( const std::string& name, const std::string& body )
    { return problem( identity( *front, ORVANTA_TEST_PORT, name, body ) ); };
    ASSERT_EQ( call( "SignUp", cSignUp ), "" );
    const auto confirm = R"({"Username":"ann@example.org","ConfirmationCode":")" + mailedCode( *front ) + "\"}";
    hold( *worker );
    auto imported = std::async( std::launch::async, [this] { return import(); } );
    awaitRunning();
    act( "kill" );
    EXPECT_EQ( call( "ConfirmSignUp", confirm ), "InternalErrorException" );
    EXPECT_EQ( call( "InitiateAuth", cSignIn ), "InternalErrorException" );
    const auto refused = Testing::runCommand( fmt::format(
        "curl -s --max-time 60 --cacert '{}' -d '{{\"input_format\":\"step\",\"compress_input\":\"zip\"}}' "
        "https://localhost:{}/converter/v2/request",
        ( front->data() / "ca.pem" ).string(), ORVANTA_TEST_PORT ) );
    EXPECT_NE( refused.text.find( "The conversion service cannot work now; try again in a moment" ), std::string::npos )
        << refused.text;
    act( "again" );
    EXPECT_EQ( call( "ConfirmSignUp", confirm ), "" ) << "at the first call";
    EXPECT_EQ( call( "InitiateAuth", cSignIn ), "" );
    for ( const int pid : Testing::descendantsOf( worker->pid() ) )
        ::kill( pid, SIGCONT );
    const auto ended = imported.get();
    EXPECT_EQ( look( "SELECT state, attempts, deaths FROM conversions ORDER BY rowid LIMIT 1" ),
        ( std::vector<Backend::SqlRow>{ { int64_t( 3 ), int64_t( 1 ), int64_t( 0 ) } } ) )
        << "nobody took it away for that";
    // The client asks each second how far it is, and believes what it hears then.
    EXPECT_TRUE( ended == "1 objects" || ended == "The conversion service cannot work now; try again in a moment" )
        << ended;
}

TEST_F( Machines, OperatorsReachWhatIsInTheBucket )
{
    const auto front = this->front( ORVANTA_TEST_PORT, { "--allow-anonymous" } );
    const auto command = [&]( const std::string& words, bool told = true )
    {
        const std::string bucket = told ? " --store-endpoint " + bucket_.endpoint : "";
        return Testing::runCommand(
            ORVANTA_BACKEND " " + words + " --database '" + database_ + "'" + bucket + " 2>&1" );
    };
    auto imported = std::async( std::launch::async, [this] { return import(); } );
    for ( const Testing::Patience patience; look( "SELECT 1 FROM conversions WHERE state = 1" ).empty();
        patience.check( "nobody asks for a conversion" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    const auto id = Backend::textOf( look( "SELECT id FROM conversions" )[0][0] );
    ASSERT_EQ( command( "jobs cancel " + id, false ).status, 0 );
    EXPECT_NE( imported.get().find( "The operator of the conversion service has stopped this" ), std::string::npos );

    EXPECT_NE( command( "jobs show " + id ).text.find( "upload    there" ), std::string::npos );
    EXPECT_EQ( command( "jobs retry " + id, false ).status, 1 ) << "it was not told where";
    const auto retried = command( "jobs retry " + id );
    EXPECT_EQ( retried.status, 0 ) << retried.text;
    const auto worker = this->worker();
    for ( const Testing::Patience patience; look( "SELECT 1 FROM conversions WHERE state = 3" ).empty();
        patience.check( "it is not tried again" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );

    // As if it was a person's.
    ASSERT_EQ( command( "user add ann@example.org", false ).status, 0 );
    ASSERT_EQ( look( "UPDATE conversions SET owner = (SELECT id FROM accounts) RETURNING 1" ).size(), 1u );
    Backend::S3Client bucket( bucket_, &Backend::systemTime );
    Backend::ConversionJob job;
    job.id = id;
    ASSERT_TRUE( bucket.head( job.resultKey( 1 ) ) );
    const auto unreachable = Testing::runCommand(
        ORVANTA_BACKEND " user erase ann@example.org --store-endpoint https://127.0.0.1:1 --database '" + database_ +
        "' 2>&1" );
    EXPECT_EQ( unreachable.status, 1 );
    EXPECT_NE( unreachable.text.find( "The store cannot be asked" ), std::string::npos ) << unreachable.text;
    EXPECT_EQ( look( "SELECT 1 FROM accounts" ).size(), 1u ) << "it can be tried again";
    const auto erased = command( "user erase ann@example.org" );
    EXPECT_EQ( erased.status, 0 ) << erased.text;
    EXPECT_EQ( look( "SELECT 1 FROM conversions" ).size(), 0u );
    for ( const auto& key : { job.resultKey( 1 ), job.uploadKey() } )
    {
        const auto left = bucket.head( key );
        ASSERT_FALSE( left ) << key;
        EXPECT_EQ( left.error().kind, Backend::StoreTrouble::Missing ) << left.error().text;
    }
}

TEST_F( Machines, ASignInAtOneIsGoodAtAllOfThem )
{
    constexpr int cOther = ORVANTA_TEST_PORT + 7;
    auto one = front();
    const auto two = front( cOther );
    const auto ok = []( const Json::Value& answer ) { return answer.isObject() && !answer.isMember( "__type" ); };
    const auto added = identity( *one, ORVANTA_TEST_PORT, "SignUp", cSignUp );
    ASSERT_TRUE( ok( added ) ) << added;
    const auto confirmed = identity( *two, cOther, "ConfirmSignUp",
        R"({"Username":"ann@example.org","ConfirmationCode":")" + mailedCode( *one ) + "\"}" );
    ASSERT_TRUE( ok( confirmed ) ) << confirmed;
    const auto in = identity( *one, ORVANTA_TEST_PORT, "InitiateAuth", cSignIn );
    ASSERT_TRUE( ok( in ) ) << in;
    one->kill();
    const auto refreshed = identity( *two, cOther, "InitiateAuth",
        R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":")" +
            in["AuthenticationResult"]["RefreshToken"].asString() + "\"}}" );
    EXPECT_TRUE( ok( refreshed ) ) << refreshed;
    const auto asked = Testing::runCommand(
        fmt::format( "curl -s -o /dev/null -w '%{{http_code}}' --max-time 60 --cacert '{}' -d "
                     "'{{\"input_format\":\"step\",\"compress_input\":\"zip\",\"access_token\":\"{}\"}}' "
                     "https://localhost:{}/converter/v2/request",
            ( two->data() / "ca.pem" ).string(), in["AuthenticationResult"]["AccessToken"].asString(), cOther ) );
    EXPECT_EQ( asked.text, "200" ) << "what the dead one signed";
}
