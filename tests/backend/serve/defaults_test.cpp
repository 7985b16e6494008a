#include "converter/ConversionRunner.h"
#include "converter/ConverterApi.h"
#include "doctor/Checks.h"
#include "identity/keys/KeyRing.h"
#include "serve/Service.h"
#include "statistics/StatsApi.h"

#include <gtest/gtest.h>

using namespace VX::Backend;
using namespace std::chrono_literals;

// What a service does that was told nothing is promised to its operators and counted on by the program.

TEST( Defaults, OfTheServiceAreWhatTheManualSays )
{
    const ServiceOptions service;
    EXPECT_EQ( service.address, "127.0.0.1" );
    EXPECT_EQ( service.port, 8443 );
    EXPECT_FALSE( service.allowAnonymous );
    EXPECT_EQ( service.maxUpload, uint64_t( 2 ) << 30 );
    EXPECT_EQ( service.maxStored, uint64_t( 16 ) << 30 );
    EXPECT_EQ( service.slots, 2 );
    EXPECT_EQ( service.keep, RunnerOptions().keep );
    EXPECT_EQ( service.keepStatistics, std::chrono::days( 400 ) );
    EXPECT_EQ( service.maxStatistics, uint64_t( 8 ) << 30 );
    EXPECT_EQ( service.maxStatisticsWaiting, uint64_t( 64 ) << 20 );
    EXPECT_EQ( service.choresEvery, 30min );
    EXPECT_EQ( service.worker.memory, uint64_t( 8 ) << 30 );
    EXPECT_EQ( service.worker.outputSize, uint64_t( 2 ) << 30 );
    EXPECT_EQ( service.worker.time, 600s );
}

TEST( Defaults, OfTheDoctorAreThoseOfTheService )
{
    const ServiceOptions service;
    const Patient patient;
    EXPECT_EQ( patient.address, service.address );
    EXPECT_EQ( patient.port, service.port );
    EXPECT_EQ( patient.maxStored, service.maxStored );
    EXPECT_FALSE( patient.isRunning );
}

TEST( Defaults, OfSignInsAreWhatTheManualSays )
{
    const IdentityOptions identity;
    EXPECT_EQ( identity.accessLife, 8h );
    EXPECT_EQ( KeyTimes().renewal, std::chrono::days( 90 ) );
    EXPECT_EQ( KeyTimes().overlap, 32h );
    EXPECT_EQ( identity.embedded.refreshLife, std::chrono::days( 30 ) );
    EXPECT_EQ( identity.embedded.signUpCodeLife, 24h );
    EXPECT_EQ( identity.embedded.resetCodeLife, 1h );
    EXPECT_EQ( identity.gateway.timeout, 8s ) << "programs give a call up after ten";
    EXPECT_EQ( identity.gateway.belief, 5min );
    EXPECT_FALSE( identity.smtp.allowPlain );
}

TEST( Defaults, OfTheServerLetSlowClientsFinishAndSilentOnesGo )
{
    const HttpServerOptions http;
    EXPECT_EQ( http.maxConnections, 1024u );
    EXPECT_EQ( http.threads, 2 );
    EXPECT_EQ( http.fileThreads, 2 );
    EXPECT_EQ( http.patience, 30s );
    EXPECT_EQ( http.headerPatience, 15s );
    EXPECT_EQ( http.leastRate, 1024u );
    EXPECT_EQ( http.longestBody, 1h );
    EXPECT_EQ( http.longestBody, RunnerOptions().keep )
        << "what comes later is for a conversion that nobody knows any more, whatever the service is told";
    EXPECT_EQ( http.keepAlive, 60s );
    EXPECT_EQ( http.maxHeaderSize, 16u * 1024 );
    EXPECT_EQ( BodyPlan().maxSize, uint64_t( 1 ) << 20 );
}

TEST( Defaults, OfConversionsFitTheProgramsPatience )
{
    const ConverterApiOptions converter;
    EXPECT_EQ( converter.urlLifetime, 30min ) << "a transfer may take ten minutes";
    EXPECT_EQ( converter.statusHold, 4s ) << "programs give a call up after ten, and a balancer may ask twice";
    const JobLimits jobs;
    EXPECT_EQ( jobs.atOnce, 256 );
    EXPECT_EQ( jobs.kept, 100'000 );
    EXPECT_EQ( jobs.bytes, uint64_t( 8 ) << 30 );
}

TEST( Defaults, OfStatisticsAreAboveWhatThousandsOfReportsASecondNeed )
{
    const StatsOptions statistics;
    EXPECT_EQ( statistics.keep, std::chrono::days( 400 ) );
    EXPECT_EQ( statistics.mostWaiting, size_t( 64 ) << 20 );
    EXPECT_EQ( statistics.bytesOfSession, uint64_t( 64 ) << 20 );
    EXPECT_EQ( statistics.bytesOfAddress, uint64_t( 4 ) << 30 );
    EXPECT_EQ( statistics.mostStored, uint64_t( 8 ) << 30 );
    EXPECT_EQ( statistics.rowsAtOnce, 2000u );
}
