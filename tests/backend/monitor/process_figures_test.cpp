#include "monitor/Figures.h"
#include "monitor/ProcessFigures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace VX::Backend;

namespace
{

uint64_t entriesOf( const char* folder )
{
    const std::filesystem::directory_iterator entries( folder );
    return uint64_t( std::distance( begin( entries ), end( entries ) ) );
}

} // namespace

TEST( FiguresOfAProcess, AreThoseThatTheSystemTells )
{
    const auto figures = processFigures();
    EXPECT_EQ( figures.threads, entriesOf( "/proc/self/task" ) );
    EXPECT_EQ( figures.descriptors, entriesOf( "/proc/self/fd" ) - 1 ) << "the look itself needs one";
    rlimit limit{};
    ASSERT_EQ( ::getrlimit( RLIMIT_NOFILE, &limit ), 0 );
    EXPECT_EQ( figures.mostDescriptors, limit.rlim_cur );
    EXPECT_GT( figures.residentBytes, 1'000'000u );
    EXPECT_GT( figures.virtualBytes, figures.residentBytes );
}

TEST( FiguresOfAProcess, FollowWhatItOpens )
{
    const auto before = processFigures().descriptors;
    const int opened = ::open( "/dev/null", O_RDONLY | O_CLOEXEC );
    EXPECT_EQ( processFigures().descriptors, before + 1 );
    ::close( opened );
}

TEST( FiguresOfAProcess, ThatNobodyHasSeenAreNothing )
{
    const ProcessFigures process;
    for ( const auto figure :
        { process.residentBytes, process.virtualBytes, process.descriptors, process.mostDescriptors, process.threads } )
        EXPECT_EQ( figure, 0u );
    EXPECT_EQ( process.cpuSeconds, 0 );
    const Figures service;
    for ( const auto figure : { service.accounts, service.sessions, service.queued, service.running, service.mails } )
        EXPECT_EQ( figure, 0 );
    for ( const auto figure : { service.diskFree, service.diskSize, service.storedBytes, service.storedObjects,
              service.mostStoredBytes, service.connections } )
        EXPECT_EQ( figure, 0u );
}
