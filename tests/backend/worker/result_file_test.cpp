#include "support/ScratchFolder.h"

#include "worker/ResultFile.h"

#include <gtest/gtest.h>

#include <csignal>
#include <vector>

#include <sys/resource.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

std::string errorOf( const std::filesystem::path& file, size_t size )
{
    const std::vector<std::byte> bytes( size, std::byte{ 'x' } );
    const auto written = writeResult( file, bytes );
    return written ? "" : written.error();
}

} // namespace

TEST( ResultFile, ReplacesWhatWasThere )
{
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "result", "something longer" );
    EXPECT_EQ( errorOf( file, 3 ), "" );
    EXPECT_EQ( Testing::readFile( file ), "xxx" );
}

TEST( ResultFile, OneBeyondTheLimitIsTooLarge )
{
    const Testing::ScratchFolder folder;
    const auto handler = std::signal( SIGXFSZ, SIG_IGN );
    rlimit former{};
    ASSERT_EQ( ::getrlimit( RLIMIT_FSIZE, &former ), 0 );
    const rlimit little{ 1000, former.rlim_max };
    ASSERT_EQ( ::setrlimit( RLIMIT_FSIZE, &little ), 0 );
    const auto error = errorOf( folder.path() / "result", 1001 );
    ::setrlimit( RLIMIT_FSIZE, &former );
    std::signal( SIGXFSZ, handler );
    EXPECT_EQ( error, "The converted file is too large" );
}

TEST( ResultFile, AFullDiskIsNotTheFilesFault )
{
    EXPECT_EQ( errorOf( "/dev/full", 1 ),
        "The conversion service could not keep the converted file: No space left on device" );
    EXPECT_EQ( errorOf( "/nowhere/result", 1 ),
        "The conversion service could not keep the converted file: No such file or directory" );
}
