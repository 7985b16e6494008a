#include "TestPlaces.h"
#include "support/Command.h"
#include "support/ScratchFolder.h"

#include "http/Descriptors.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

using namespace VX;

namespace
{

const std::filesystem::path cUnit =
    std::filesystem::path( ORVANTA_TEST_DATA ) / "../packaging/linux/orvanta-backend.service";

/// "Service.Restart" and all others, of which none stands there twice.
std::map<std::string, std::string> settingsOf( const std::string& unit )
{
    std::map<std::string, std::string> out;
    std::string section;
    std::istringstream in( unit );
    for ( std::string line; std::getline( in, line ); )
    {
        const auto equals = line.find( '=' );
        if ( line.starts_with( '[' ) )
        {
            section = line.substr( 1, line.find( ']' ) - 1 );
        }
        else if ( equals != line.npos && !line.starts_with( '#' ) )
        {
            const auto added = out.emplace( section + "." + line.substr( 0, equals ), line.substr( equals + 1 ) );
            EXPECT_TRUE( added.second ) << line;
        }
    }
    return out;
}

} // namespace

TEST( SystemUnit, KeepsTheServiceUpAndItsWorkersBounded )
{
    auto unit = settingsOf( Testing::readFile( cUnit ) );
    // However often it ends, it comes back.
    EXPECT_EQ( unit["Unit.StartLimitIntervalSec"], "0" );
    EXPECT_EQ( unit["Service.Restart"], "on-failure" );
    // A worker that takes all memory, or all processes, takes them from nobody else, and its end is not the service's.
    EXPECT_EQ( unit["Service.OOMPolicy"], "continue" );
    EXPECT_EQ( unit["Service.MemoryMax"], "90%" );
    EXPECT_EQ( unit["Service.TasksMax"], "2048" );
    // Workers end with what they do, for which the service waits 20 seconds.
    EXPECT_EQ( unit["Service.KillMode"], "mixed" );
    EXPECT_GE( std::stoi( unit["Service.TimeoutStopSec"] ), 30 );
    EXPECT_EQ( unit["Service.UMask"], "0077" );
    EXPECT_EQ( unit["Service.StateDirectoryMode"], "0700" );
    EXPECT_EQ( unit["Service.NoNewPrivileges"], "yes" );
}

TEST( SystemUnit, HasDescriptorsForAllConnections )
{
    const auto descriptors = std::stoul( settingsOf( Testing::readFile( cUnit ) )["Service.LimitNOFILE"] );
    EXPECT_EQ( Backend::connectionsFor( descriptors ), Backend::connectionsFor( 1'000'000 ) );
}

TEST( SystemUnit, IsUnderstoodBySystemd )
{
    if ( Testing::runCommand( "systemd-analyze --version 2>&1" ).status != 0 )
        GTEST_SKIP() << "there is no systemd here";
    // The program need not be installed.
    const Testing::ScratchFolder folder;
    auto text = Testing::readFile( cUnit );
    const std::string program = "/usr/bin/orvanta-backend";
    ASSERT_NE( text.find( program ), text.npos );
    text.replace( text.find( program ), program.size(), "/usr/bin/true" );
    const auto file = folder.write( "orvanta-backend.service", text );
    const auto said = Testing::runCommand( "systemd-analyze verify --man=no '" + file.string() + "' 2>&1" );
    EXPECT_EQ( said.status, 0 ) << said.text;
    // What it does not know it names, and goes on.
    EXPECT_EQ( said.text.find( "orvanta-backend" ), std::string::npos ) << said.text;
}
