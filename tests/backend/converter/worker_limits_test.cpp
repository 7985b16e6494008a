#include "converter/WorkerProcess.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace VX::Backend;

TEST( WorkerLimits, TheMemoryOfAConversionIsDividedAmongItsProcesses )
{
    constexpr uint64_t cGiB = uint64_t( 1 ) << 30;
    EXPECT_EQ( processesOf( 64 * cGiB, 2 ), 2 );
    EXPECT_EQ( processesOf( 8 * cGiB, 16 ), 4 ) << "none gets less than 2 GiB";
    EXPECT_EQ( processesOf( 3 * cGiB, 16 ), 1 );
    EXPECT_EQ( processesOf( 1, 16 ), 1 );
    EXPECT_EQ( processesOf( 64 * cGiB, 0 ), 1 ) << "where nobody knows of the cores";
}

TEST( WorkerLimits, AllConversionsLeaveTheMachineAQuarterOfItsMemory )
{
    const auto machine = uint64_t( ::sysconf( _SC_PHYS_PAGES ) ) * uint64_t( ::sysconf( _SC_PAGESIZE ) );
    const auto alone = memoryOfAConversion( 1 );
    EXPECT_LE( alone, machine / 4 * 3 );
    EXPECT_GT( alone, machine / 2 );
    EXPECT_LE( 4 * memoryOfAConversion( 4 ), alone );
    EXPECT_GT( 4 * memoryOfAConversion( 4 ), alone / 10 * 9 );
}
