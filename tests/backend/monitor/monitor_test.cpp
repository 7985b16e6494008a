#include "TestPlaces.h"
#include "support/ApprovedText.h"
#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/service/ExposedFigures.h"
#include "support/service/OpenDatabase.h"

#include "metrics/Measures.h"
#include "monitor/HealthApi.h"
#include "monitor/MetricsApi.h"
#include "statistics/StatsStore.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <thread>

using namespace VX;
using namespace VX::Backend;
using namespace std::chrono_literals;
using Testing::ExposedFigures;

namespace
{

HttpResponse get( HttpService& service, const std::string& path )
{
    HttpRequest request;
    request.method = "GET";
    request.path = path;
    HttpResponse out;
    service.handle( request, [&]( HttpResponse response ) { out = std::move( response ); } );
    return out;
}

class Monitors : public testing::Test
{
protected:
    using Jobs = ConversionJobs;

    std::chrono::sys_seconds clock() const { return std::chrono::sys_seconds( std::chrono::seconds( now_.load() ) ); }
    /// Figures that were looked at after this call.
    ExposedFigures look()
    {
        const FigureKeeper keeper( *database_, *database_, folder_.path(), [this] { return clock(); }, more_ );
        for ( const Testing::Patience patience; !keeper.kept().at; patience.check() )
            std::this_thread::sleep_for( 1ms );
        text_ = MetricsApi( requests_, keeper ).text();
        auto read = ExposedFigures::read( text_ );
        EXPECT_TRUE( read ) << ( read ? "" : read.error() ) << "\n" << text_;
        return read.value_or( ExposedFigures{} );
    }

    Testing::ScratchFolder folder_;
    std::atomic<int64_t> now_{ 1'700'000'000 };
    std::unique_ptr<Database> database_ = Testing::openDatabase( folder_.path() / "orvanta.db" );
    StatsStore statistics_{ *database_, [this] { return clock(); } };
    RequestMeasures requests_;
    FigureKeeper::More more_;
    std::string text_;
};

} // namespace

TEST_F( Monitors, RequestsAreCountedAndTimedByBoundedLabelsAlone )
{
    requests_.add( "auth", 200 );
    requests_.add( "auth", 201 );
    requests_.add( "auth", 404 );
    requests_.addDuration( "auth", "POST", 200, 3ms );
    requests_.addDuration( "auth", "GET", 405, 2s );
    requests_.addDuration( "auth", "ann@example.org", 405, 2s );
    requests_.addDuration( "auth", "POST", 0, 1s );
    const auto figures = look();
    EXPECT_EQ( figures.of( R"(orvanta_requests_total{service="auth",status="2xx"})" ), 2 );
    EXPECT_EQ( figures.of( R"(orvanta_requests_total{service="auth",status="4xx"})" ), 1 );
    const auto took = [&]( const std::string& part, const std::string& labels )
    { return figures.of( "orvanta_request_duration_seconds" + part + "{service=\"auth\"," + labels + "}" ); };
    EXPECT_EQ( took( "_bucket", R"(method="write",status="2xx",le="0.0025")" ), 0 );
    EXPECT_EQ( took( "_bucket", R"(method="write",status="2xx",le="0.005")" ), 1 );
    EXPECT_EQ( took( "_sum", R"(method="read",status="4xx")" ), 2 );
    EXPECT_EQ( took( "_count", R"(method="other",status="4xx")" ), 1 );
    EXPECT_EQ( took( "_count", R"(method="write",status="gone")" ), 1 );
    EXPECT_EQ( text_.find( "ann@" ), std::string::npos );
}

TEST_F( Monitors, AllFiguresHaveTheseNamesWordsAndClasses )
{
    requests_.add( "auth", 200 );
    requests_.addDuration( "auth", "POST", 200, 3ms );
    look();
    std::istringstream lines( text_ );
    std::string described;
    for ( std::string line; std::getline( lines, line ); )
        described += ( line.starts_with( '#' ) ? line : line.substr( 0, line.rfind( ' ' ) ) ) + "\n";
    Testing::expectApproved( described, "backend/monitor/approved/figures.txt" );
}

TEST_F( Monitors, QueuesAreToldWithTheAgeOfTheOldest )
{
    ConversionJobs jobs( *database_, [this] { return clock(); } );
    const auto waits = measures().conversionWaits.counts().seconds;
    EXPECT_EQ( look().of( "orvanta_conversions_oldest_queued_seconds" ), 0 );
    for ( int i = 0; i < 3; ++i )
    {
        EXPECT_TRUE( jobs.queue( jobs.create( "step", "ann" ).value()->id ).value() );
        now_ += 10;
    }
    const auto taken = jobs.take().value();
    EXPECT_EQ( measures().conversionWaits.counts().seconds - waits, 30 );
    now_ += 5;
    const auto figures = look();
    EXPECT_EQ( figures.of( "orvanta_conversions_queued" ), 2 );
    EXPECT_EQ( figures.of( "orvanta_conversions_running" ), 1 );
    EXPECT_EQ( figures.of( "orvanta_conversions_oldest_queued_seconds" ), 25 );
}

TEST_F( Monitors, ConversionsAreCountedByTheirEnd )
{
    ConversionJobs jobs( *database_, [this] { return clock(); } );
    const auto before = look();
    const auto begin = [&]
    {
        EXPECT_TRUE( jobs.queue( jobs.create( "step", "ann" ).value()->id ).value() );
        return jobs.take().value().value();
    };
    EXPECT_TRUE( jobs.finish( begin(), 10 ).value() );
    EXPECT_TRUE( jobs.fail( begin(), "why" ).value() );
    begin();
    for ( int i = 0; i < 2; ++i )
    {
        EXPECT_TRUE( jobs.recover( { jobs.instance() } ).value().empty() );
        EXPECT_TRUE( jobs.take().value() );
    }
    EXPECT_EQ( jobs.recover( { jobs.instance() } ).value().size(), 1u ) << "the third death";
    EXPECT_TRUE( jobs.queue( jobs.create( "step", "ann" ).value()->id ).value() );
    EXPECT_TRUE( jobs.expireOldest().value() );
    now_ += 3700;
    EXPECT_FALSE( jobs.expire( 1h ).value().empty() ) << "one has waited for too long";
    const auto after = look();
    const auto grown = [&]( const std::string& sample ) { return after.of( sample ) - before.of( sample ); };
    EXPECT_EQ( grown( R"(orvanta_conversions_ended_total{end="done"})" ), 1 );
    EXPECT_EQ( grown( R"(orvanta_conversions_ended_total{end="failed"})" ), 3 );
    EXPECT_EQ( grown( "orvanta_evictions_total" ), 1 );
}

TEST_F( Monitors, MailsAccountsAndRoomAreTold )
{
    EXPECT_TRUE( database_->execute( "INSERT INTO mails(recipient, subject, text, due, expires, written) VALUES"
                                     "('a', 's', 't', 1, 1700009999, 1699999900), ('a', 's', 't', 1, 1700009999, "
                                     "1699999990), ('a', 's', '', 1, 1700009999, 1600000000)" ) );
    EXPECT_TRUE( database_->execute( "UPDATE mails SET sent = 1 WHERE text = ''" ) );
    EXPECT_TRUE(
        database_->execute( "INSERT INTO stats_sessions(id, \"user\", created) VALUES (1, 'u', 1), (2, 'u', 1)" ) );
    more_ = []( Figures& figures )
    {
        figures.storedBytes = 1234;
        figures.storedObjects = 5;
        figures.mostStoredBytes = 9999;
        figures.connections = 7;
    };
    const auto figures = look();
    EXPECT_EQ( figures.of( "orvanta_mails_waiting" ), 2 );
    EXPECT_EQ( figures.of( "orvanta_mails_oldest_seconds" ), 100 );
    EXPECT_EQ( figures.of( "orvanta_stats_sessions" ), 2 );
    EXPECT_EQ( figures.of( "orvanta_accounts" ), 0 );
    EXPECT_EQ( figures.of( "orvanta_store_bytes" ), 1234 );
    EXPECT_EQ( figures.of( "orvanta_store_objects" ), 5 );
    EXPECT_EQ( figures.of( "orvanta_store_limit_bytes" ), 9999 );
    EXPECT_EQ( figures.of( "orvanta_connections" ), 7 );
    EXPECT_GT( figures.of( "orvanta_disk_free_bytes" ), 0 );
    EXPECT_GE( figures.of( "orvanta_disk_size_bytes" ), figures.of( "orvanta_disk_free_bytes" ) );
    EXPECT_EQ( figures.of( "orvanta_figures_age_seconds" ), 0 );
    for ( const char* name : { "process_resident_memory_bytes", "process_virtual_memory_bytes", "process_open_fds",
              "process_max_fds", "process_threads", "process_cpu_seconds_total" } )
        EXPECT_GT( figures.of( name ), 0 ) << name;
}

TEST_F( Monitors, AMailIsAsOldAsItsWritingAlsoWhenItIsTriedAgain )
{
    const auto mailer = Backend::outboxMailer( folder_.path() / "outbox" );
    MailQueue queue( *database_, *mailer, Delivery::AtOnce, [this] { return clock(); } );
    EXPECT_TRUE( queue.add( { "ann@example.org", "subject", "text" }, 1h ) );
    now_ += 30;
    EXPECT_TRUE( database_->execute( "UPDATE mails SET due = due + 900" ) );
    EXPECT_EQ( look().of( "orvanta_mails_oldest_seconds" ), 30 );
    now_ += 3600;
    EXPECT_EQ( look().of( "orvanta_mails_waiting" ), 0 ) << "nobody waits for it any more";
}

TEST_F( Monitors, StatementsAreTimedByWhetherTheyWrite )
{
    const auto sum = []( const Histogram& histogram )
    {
        uint64_t out = 0;
        for ( const auto count : histogram.counts().each )
            out += count;
        return out;
    };
    const auto reads = sum( measures().reads ), writes = sum( measures().writes );
    EXPECT_TRUE( database_->query( "SELECT 1" ) );
    EXPECT_EQ( sum( measures().reads ), reads + 1 );
    EXPECT_EQ( sum( measures().writes ), writes );
    EXPECT_TRUE( database_->execute( "DELETE FROM mails" ) );
    EXPECT_EQ( sum( measures().writes ), writes + 1 );
    const auto held = measures().writes.counts().seconds;
    std::thread waiting;
    {
        Database::Transaction transaction( *database_ );
        waiting = std::thread( [this] { EXPECT_TRUE( database_->execute( "DELETE FROM mails" ) ); } );
        std::this_thread::sleep_for( 60ms ); // what the other has to wait for, and is to be seen
    }
    waiting.join();
    EXPECT_GT( measures().writes.counts().seconds - held, .03 );
}

TEST_F( Monitors, ReadyIsWhoCanWriteHasAWorkerAndDoesNotStop )
{
    HealthApi health( *database_ );
    EXPECT_EQ( get( health, "/readyz" ).status, 503 ) << "nobody knows of a worker";
    EXPECT_EQ( get( health, "/readyz" ).body, R"({"status":"no worker can be had"})" );
    std::atomic<bool> has = true;
    health.askForWorkers( [&] { return has.load(); } );
    EXPECT_EQ( get( health, "/readyz" ).status, 200 );
    EXPECT_EQ( get( health, "/readyz" ).body, R"({"status":"ok"})" );
    has = false;
    EXPECT_EQ( get( health, "/readyz" ).status, 503 );
    EXPECT_EQ( get( health, "/healthz" ).status, 200 );
    EXPECT_EQ( get( health, "/healthz" ).body, R"({"status":"ok"})" );
    has = true;
    health.drain();
    for ( const char* path : { "/healthz", "/readyz" } )
    {
        EXPECT_EQ( get( health, path ).status, 503 );
        EXPECT_EQ( get( health, path ).body, R"({"status":"stopping"})" );
    }
}

TEST_F( Monitors, FiguresThatCannotBeSeenStayAsOldAsTheyAreAndAreLogged )
{
    const Testing::LogCapture log;
    EXPECT_TRUE( database_->execute( "DROP TABLE stats_sessions" ) );
    EXPECT_TRUE( database_->execute( "DROP TABLE mails" ) );
    std::atomic<int> looks = 0;
    const FigureKeeper keeper(
        *database_, *database_, folder_.path(), [this] { return clock(); }, [&]( Figures& ) { ++looks; }, 1ms );
    for ( const Testing::Patience patience; looks < 2; patience.check() )
        std::this_thread::sleep_for( 1ms );
    EXPECT_FALSE( keeper.kept().at );
    for ( const char* table : { "mails", "stats_sessions" } )
        EXPECT_TRUE( log.contains( "error: Figures: " + Testing::noSuchTable( table ) ) ) << log.text();
}

TEST_F( Monitors, NobodyIsReadyWhoCannotWrite )
{
    const Testing::LogCapture log;
    EXPECT_TRUE( makeTable( *database_, { "health", "id INTEGER PRIMARY KEY, checks INTEGER NOT NULL" } ) );
    Testing::refuseWrites( *database_, "INSERT", "health" );
    HealthApi health( *database_ );
    health.askForWorkers( [] { return true; } );
    for ( const char* path : { "/healthz", "/readyz" } )
    {
        EXPECT_EQ( get( health, path ).status, 503 );
        EXPECT_EQ( get( health, path ).body, R"({"status":"the database cannot be written"})" );
    }
    EXPECT_TRUE( log.contains( "error: Health: Database: no room" ) ) << log.text();
}

namespace
{

/// Names of figures in a text of queries.
std::set<std::string> namesIn( const std::string& text )
{
    std::set<std::string> out;
    for ( const std::string begin : { "orvanta_", "process_" } )
        for ( auto at = text.find( begin ); at != std::string::npos; at = text.find( begin, at + 1 ) )
            out.insert( text.substr( at, text.find_first_not_of( "abcdefghijklmnopqrstuvwxyz_", at ) - at ) );
    return out;
}

/// The queries of the rules, which are lines of "key: value" at the places that such a file has them.
std::string readRules( const std::filesystem::path& file, size_t& rules )
{
    std::istringstream lines( Testing::readFile( file ) );
    std::string out;
    for ( std::string line; std::getline( lines, line ); )
    {
        const auto at = line.find_first_not_of( ' ' );
        if ( line.starts_with( '#' ) )
            continue;
        const auto colon = line.find( ':' );
        EXPECT_NE( colon, std::string::npos ) << line;
        EXPECT_EQ( at % 2, 0u ) << line;
        const auto key = line.substr( at, colon - at );
        const auto value = colon + 2 < line.size() ? line.substr( colon + 2 ) : std::string();
        static const std::map<std::string, size_t> sPlaces = { { "groups", 0 }, { "- name", 2 }, { "rules", 4 },
            { "- alert", 6 }, { "expr", 8 }, { "for", 8 }, { "labels", 8 }, { "severity", 10 }, { "annotations", 8 },
            { "summary", 10 }, { "description", 10 } };
        EXPECT_TRUE( sPlaces.contains( key ) && sPlaces.at( key ) == at ) << line;
        // What YAML would take for the begin of something else, or for its end.
        const bool quoted = value.size() > 1 && value.front() == '"' && value.find( '"', 1 ) == value.size() - 1;
        EXPECT_TRUE( quoted || ( value.find( ": " ) == std::string::npos && value.find( " #" ) == std::string::npos &&
                                   std::string( "\"'{}[]&*!|>%@`" ).find( value[0] ) == std::string::npos ) )
            << line;
        rules += key == "- alert";
        if ( key == "expr" )
            out += value + "\n";
    }
    return out;
}

} // namespace

TEST_F( Monitors, AlertsAndDashboardAskForWhatIsServed )
{
    requests_.add( "auth", 200 );
    requests_.addDuration( "auth", "POST", 200, 3ms );
    const auto figures = look();
    std::set<std::string> served;
    for ( const auto& [name, family] : figures.families )
        for ( const auto& [sample, value] : family.samples )
            served.insert( sample.substr( 0, sample.find( '{' ) ) );
    const auto folder = std::filesystem::path( ORVANTA_TEST_DATA ) / "../packaging/monitoring";
    size_t rules = 0;
    auto asked = readRules( folder / "alerts.yml", rules );
    EXPECT_GE( rules, 10u );
    const auto dashboard = deserializeJsonValue( folder / "dashboard.json" );
    ASSERT_TRUE( dashboard );
    EXPECT_GE( ( *dashboard )["panels"].size(), 10u );
    for ( const auto& panel : ( *dashboard )["panels"] )
        for ( const auto& target : panel["targets"] )
            asked += target["expr"].asString() + "\n";
    for ( const auto& name : namesIn( asked ) )
        EXPECT_TRUE( served.contains( name ) ) << name;
    // And nobody counts what nobody looks at.
    for ( const auto& [name, family] : figures.families )
        EXPECT_TRUE( !name.starts_with( "orvanta_" ) || asked.find( name ) != std::string::npos ) << name;
}
