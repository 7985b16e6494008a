#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/service/BackendProcess.h"
#include "support/service/Processes.h"

#include "database/Database.h"

#include <VXMesh/io/Zip.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/converter/S3.h>
#include <VXOrvanta/deferred/WebRequestFuture.h>

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

using namespace VX;
using namespace VX::ConverterService;
using State = V2::CheckConvertStatusResult::State;

namespace
{

/// A service with one worker, which holds still from before its job on.
class Stops : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
    }
    void start( const std::vector<std::string>& options = {} )
    {
        std::vector<std::string> all{ "--allow-anonymous", "--slots", "1" };
        all.insert( all.end(), options.begin(), options.end() );
        if ( backend_ )
        {
            backend_->setOptions( all );
            backend_->restart();
        }
        else
            backend_ = std::make_unique<Testing::BackendProcess>( all );
    }
    template <typename Condition>
    static void await( const Condition& condition, const char* what )
    {
        for ( const Testing::Patience patience; !condition(); patience.check( what ) )
            std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    }
    void holdWorker()
    {
        worker_ = 0;
        const auto found = [&]
        {
            for ( const int pid : Testing::descendantsOf( backend_->pid() ) )
                if ( Testing::isWorker( pid ) )
                    worker_ = pid;
            return worker_ != 0;
        };
        await( found, "no worker starts" );
        ::kill( worker_, SIGSTOP );
    }
    /// Begins a conversion, and returns when the worker has it.
    void begin()
    {
        holdWorker();
        content_.write( "input", Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" ) );
        const auto zip = folder_.path() / "in.zip";
        ASSERT_TRUE( compressZip( zip, content_.path() ) );
        const auto context = V2::RequestConvertContextResult::parseResponse(
            WebRequestFuture( V2::requestConvertContext( "step" ) ).get() )
                                 .value();
        id_ = context.requestId;
        ASSERT_TRUE(
            S3::parseResponse( WebRequestFuture( S3::uploadWithPresignedUrl( context.url, zip, {} ) ).get() ) );
        ASSERT_TRUE( V2::StartConvertResult::parseResponse(
            WebRequestFuture( V2::startConvert( context.requestId, "step", "vxu" ) ).get() ) );
        await( [&] { return column( "state" ) == 2; }, "nobody takes the job" );
    }
    int64_t column( const std::string& name ) const
    {
        const auto database = Backend::Database::openExisting( backend_->data() / "orvanta.db" ).value();
        return Backend::integerOf(
            database->query( "SELECT " + name + " FROM conversions WHERE id = ?", { id_ } ).value().at( 0 ).at( 0 ) );
    }
    V2::CheckConvertStatusResult status() const
    {
        return V2::CheckConvertStatusResult::parseResponse( WebRequestFuture( V2::checkConvertStatus( id_ ) ).get() )
            .value();
    }
    void expectAResult()
    {
        std::optional<V2::CheckConvertStatusResult> said;
        await( [&] { return ( said = status() )->state == State::Finished; }, "the conversion does not end" );
        const auto file = folder_.path() / "out.vxu";
        ASSERT_TRUE( S3::parseResponse(
            WebRequestFuture( S3::downloadWithPresignedUrl( said->url.value(), file, {} ) ).get() ) );
        EXPECT_NE( Testing::readFile( file ).find( "Bracket" ), std::string::npos );
    }
    std::string health() const
    {
        const auto url = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/healthz";
        return Testing::runCommand(
            "curl -s --max-time 20 --cacert '" + ( backend_->data() / "ca.pem" ).string() + "' " + url )
            .text;
    }
    void awaitDrain()
    {
        await( [&] { return health() == R"({"status":"stopping"})"; }, "it is not told that the service stops" );
    }

    std::unique_ptr<Testing::BackendProcess> backend_;
    Testing::ScratchFolder folder_, content_;
    std::string id_;
    int worker_ = 0;
};

} // namespace

TEST_F( Stops, WhatAKilledServiceWasRunningIsRunAtOnceByTheNext )
{
    start();
    begin();
    backend_->kill();
    start();
    const auto ready = std::chrono::system_clock::now().time_since_epoch();
    await( [&] { return column( "attempts" ) == 2; }, "the job is not run again" );
    EXPECT_LT( std::chrono::system_clock::now().time_since_epoch() - ready, std::chrono::seconds( 8 ) )
        << "that is before any lease is over";
    expectAResult();
    EXPECT_EQ( column( "deaths" ), 1 );
    size_t folders = 0;
    for ( const auto& entry : std::filesystem::directory_iterator( backend_->data() / "work" ) )
        folders += entry.is_directory();
    EXPECT_EQ( folders, 1u ) << "what the dead one has left goes";
}

TEST_F( Stops, APoliteStopWaitsForWhatRunsAndAnswersMeanwhile )
{
    start( { "--drain-seconds", "3600" } );
    begin();
    backend_->signal( SIGTERM );
    awaitDrain();
    EXPECT_EQ( status().state, State::InProgress );
    ::kill( worker_, SIGCONT );
    EXPECT_EQ( backend_->awaitEnd(), 0 );
    EXPECT_EQ( column( "state" ), 3 );
    EXPECT_EQ( column( "deaths" ), 0 );
    start();
    expectAResult();
    EXPECT_EQ( column( "attempts" ), 1 );
}

TEST_F( Stops, WhatIsNotDoneInTimeIsHandedBackAndThatIsNoDeath )
{
    start( { "--drain-seconds", "1" } );
    begin();
    backend_->signal( SIGTERM );
    EXPECT_EQ( backend_->awaitEnd(), 0 );
    EXPECT_EQ( column( "state" ), 1 );
    EXPECT_EQ( column( "deaths" ), 0 );
    start();
    expectAResult();
}

TEST_F( Stops, ASecondSignalEndsTheWait )
{
    start( { "--drain-seconds", "3600" } );
    begin();
    backend_->signal( SIGTERM );
    awaitDrain();
    backend_->signal( SIGINT );
    EXPECT_EQ( backend_->awaitEnd(), 0 );
    EXPECT_EQ( column( "state" ), 1 );
    EXPECT_EQ( column( "deaths" ), 0 );
}

TEST_F( Stops, WhileItStopsNobodyBeginsAConversionAndIsToldSo )
{
    start( { "--drain-seconds", "3600" } );
    begin();
    backend_->signal( SIGTERM );
    awaitDrain();
    const auto refused =
        V2::RequestConvertContextResult::parseResponse( WebRequestFuture( V2::requestConvertContext( "step" ) ).get() );
    ASSERT_FALSE( refused );
    EXPECT_EQ( refused.error(), "The conversion service is about to restart; try again in a moment" );
    EXPECT_EQ( status().state, State::InProgress );
    ::kill( worker_, SIGCONT );
    EXPECT_EQ( backend_->awaitEnd(), 0 );
}

TEST_F( Stops, ACanceledConversionEndsAtOnceAndCanBeTriedAgain )
{
    start();
    begin();
    const auto order = [&]( const std::string& what )
    {
        return Testing::runCommand( std::string( ORVANTA_BACKEND ) + " jobs " + what + " " + id_ + " --data '" +
                                    backend_->data().string() + "' 2>&1" );
    };
    EXPECT_EQ( order( "cancel" ).status, 0 );
    const auto begin = std::chrono::steady_clock::now();
    await( [&] { return ::kill( worker_, 0 ) != 0; }, "its worker goes on" );
    EXPECT_LT( std::chrono::steady_clock::now() - begin, std::chrono::seconds( 3 ) );
    const auto said =
        V2::CheckConvertStatusResult::parseResponse( WebRequestFuture( V2::checkConvertStatus( id_ ) ).get() );
    ASSERT_FALSE( said );
    EXPECT_EQ( said.error(), "The operator of the conversion service has stopped this conversion" );
    const auto retried = order( "retry" );
    EXPECT_EQ( retried.status, 0 ) << retried.text;
    expectAResult();
    EXPECT_EQ( column( "attempts" ), 2 );
    EXPECT_EQ( column( "deaths" ), 0 );
}

TEST_F( Stops, WithoutATimeNobodyWaits )
{
    start( { "--drain-seconds", "0" } );
    begin();
    backend_->signal( SIGTERM );
    EXPECT_EQ( backend_->awaitEnd(), 0 );
    EXPECT_EQ( column( "state" ), 1 );
    EXPECT_EQ( column( "deaths" ), 0 );
}
