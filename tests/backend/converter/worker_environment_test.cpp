#include "support/ScratchFolder.h"

#include "converter/Bubblewrap.h"
#include "converter/WorkerProcess.h"

#include <VXMesh/system/Sanitizer.h>

#include <gtest/gtest.h>

#include <cstdlib>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr const char* cAllocator = "/usr/lib/x86_64-linux-gnu/libmimalloc.so.2.0";

/// The environment of a worker, as that sees it.
std::string environmentOfAWorker()
{
    const Testing::ScratchFolder folder;
    WorkerSetup setup;
    setup.inBubblewrap = canUseBubblewrap();
    setup.program = { "/usr/bin/sh", "-c", "cd \"$0\"; env > environment" };
    const auto worker = WorkerProcess::start( folder.path(), setup ).value();
    const std::atomic<bool> stop = false;
    EXPECT_FALSE( worker->convert( stop ) ) << "it has said nothing";
    return "\n" + Testing::readFile( worker->resultFile().parent_path() / "environment" );
}

} // namespace

TEST( WorkerEnvironment, HoldsNoSecretsOfTheService )
{
    ::setenv( "ORVANTA_SMTP_PASSWORD", "secret", 1 );
    const auto environment = environmentOfAWorker();
    ::unsetenv( "ORVANTA_SMTP_PASSWORD" );
    for ( const char* line : { "\nPATH=/usr/bin:/bin\n", "\nLC_ALL=C.UTF-8\n", "\nHOME=/tmp\n" } )
        EXPECT_NE( environment.find( line ), std::string::npos ) << environment;
    EXPECT_EQ( environment.find( "ORVANTA_SMTP" ), std::string::npos );
    EXPECT_EQ( environment.find( "secret" ), std::string::npos );
}

TEST( WorkerEnvironment, NamesTheFasterAllocatorWhereThereIsOne )
{
    const bool wanted = !cHasSanitizer && std::filesystem::exists( cAllocator );
    const bool named =
        environmentOfAWorker().find( "\nLD_PRELOAD=" + std::string( cAllocator ) + "\n" ) != std::string::npos;
    EXPECT_EQ( named, wanted );
}
