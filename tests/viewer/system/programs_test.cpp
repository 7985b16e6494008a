#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"

#include <VXViewer/system/OpenLink.h>
#include <VXViewer/system/Programs.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <thread>

#include <unistd.h>

using namespace VX;

namespace
{

/// A folder of programs before all others.
class Programs : public testing::Test
{
protected:
    Programs() { setPath( folder_.path().string() + ":" + former_ ); }
    ~Programs() override { setPath( former_ ); }

    static void setPath( const std::string& path ) { ::setenv( "PATH", path.c_str(), 1 ); }
    void program( const std::string& name, const std::string& script ) const
    {
        const auto file = folder_.write( name, "#!/bin/sh\n" + script + "\n" );
        std::filesystem::permissions( file, std::filesystem::perms( 0700 ) );
    }
    /// What a program has written that nobody waits for.
    [[nodiscard]] std::string waitForFile( const std::string& name ) const
    {
        const Testing::Patience patience;
        while ( !std::filesystem::exists( folder_.path() / name ) )
        {
            patience.check();
            std::this_thread::yield();
        }
        return Testing::readFile( folder_.path() / name );
    }

    const Testing::ScratchFolder folder_;
    const std::string former_ = std::getenv( "PATH" );
};

} // namespace

TEST_F( Programs, ArgumentsReachAProgramAsTheyAre )
{
    program( "vx-echo", "for a; do printf '[%s]' \"$a\"; done" );
    const auto result = runChild( { "vx-echo", "a b", "$HOME; ls", "", "ü" } );
    EXPECT_EQ( result.status, 0 );
    EXPECT_EQ( result.output, "[a b][$HOME; ls][][ü]" );
}

TEST_F( Programs, AllOfALongOutputArrives )
{
    program( "vx-long", "i=0; while [ $i -lt 2000 ]; do echo 0123456789; i=$((i+1)); done; exit 3" );
    const auto result = runChild( { "vx-long" } );
    EXPECT_EQ( result.output.size(), 22'000u );
    EXPECT_EQ( result.status, 3 );
}

TEST_F( Programs, OneThatIsMissingOrKilledHasNoStatus )
{
    EXPECT_EQ( runChild( { "vx-there-is-none" } ).status, -1 );
    program( "vx-killed", "echo first; kill -9 $$" );
    const auto killed = runChild( { "vx-killed" } );
    EXPECT_EQ( killed.status, -1 );
    EXPECT_EQ( killed.output, "first\n" );
}

TEST_F( Programs, AreFoundInTheFoldersOfThePath )
{
    program( "vx-there", "" );
    EXPECT_TRUE( isInPath( "vx-there" ) );
    EXPECT_FALSE( isInPath( "vx-there-is-none" ) );
    folder_.write( "vx-data", "no program" );
    std::filesystem::permissions( folder_.path() / "vx-data", std::filesystem::perms( 0600 ) );
    EXPECT_FALSE( isInPath( "vx-data" ) );
    setPath( "/nowhere::" + folder_.path().string() );
    EXPECT_TRUE( isInPath( "vx-there" ) ) << "behind an empty entry";
    setPath( "" );
    EXPECT_FALSE( isInPath( "vx-there" ) );
    ::unsetenv( "PATH" );
    EXPECT_FALSE( isInPath( "vx-there" ) );
}

TEST_F( Programs, ADetachedOneThatFailsSoonIsTold )
{
    program( "vx-fails", "exit 4" );
    const auto told = std::make_shared<std::promise<std::thread::id>>();
    EXPECT_TRUE( startDetached( { "vx-fails" }, [told] { told->set_value( std::this_thread::get_id() ); } ) );
    auto thread = told->get_future();
    ASSERT_EQ( thread.wait_for( std::chrono::seconds( Testing::Patience::cSeconds ) ), std::future_status::ready );
    EXPECT_NE( thread.get(), std::this_thread::get_id() );
}

TEST_F( Programs, ADetachedOneThatCrashesIsTold )
{
    program( "vx-crashes", "kill -9 $$" );
    const auto told = std::make_shared<std::promise<void>>();
    EXPECT_TRUE( startDetached( { "vx-crashes" }, [told] { told->set_value(); } ) );
    EXPECT_EQ(
        told->get_future().wait_for( std::chrono::seconds( Testing::Patience::cSeconds ) ), std::future_status::ready );
}

TEST_F( Programs, OfADetachedOneThatDoesItsWorkNothingIsTold )
{
    program( "vx-works", "exit 0" );
    const auto told = std::make_shared<bool>( false );
    EXPECT_TRUE( startDetached( { "vx-works" }, [told] { *told = true; } ) );
    // What it held goes when its end has been looked at.
    const Testing::Patience patience;
    while ( told.use_count() > 1 )
    {
        patience.check();
        std::this_thread::yield();
    }
    EXPECT_FALSE( *told );
}

TEST_F( Programs, ADetachedOneGetsNothingOfOursButItsArguments )
{
    // Descriptor 9 of ours, which would keep a lock or a socket open, and our input.
    program( "vx-looks",
        "( test -e /proc/self/fd/9 && echo ours; cat; printf 'end %s' \"$1\" ) > \"$2.part\"\nmv \"$2.part\" \"$2\"" );
    const auto out = folder_.path() / "out";
    std::FILE* file = std::fopen( out.parent_path().c_str(), "r" );
    ASSERT_TRUE( file );
    const int ninth = ::dup2( ::fileno( file ), 9 );
    EXPECT_TRUE( startDetached( { "vx-looks", "a b", out.string() } ) );
    EXPECT_EQ( waitForFile( "out" ), "end a b" );
    ::close( ninth );
    std::fclose( file );
}

TEST_F( Programs, ADetachedOneThatIsMissingIsToldAtOnce )
{
    EXPECT_FALSE( startDetached( { "vx-there-is-none" }, [] { ADD_FAILURE() << "twice"; } ) );
}

TEST_F( Programs, ABrowserIsHandedThePageAlone )
{
    program( "xdg-open", "printf '%s|' \"$@\" > \"$0.part\"\nmv \"$0.part\" \"$0.seen\"" );
    EXPECT_TRUE( OpenLink( "https://example.org/a?b=c d&e=$(f)" ) );
    EXPECT_EQ( waitForFile( "xdg-open.seen" ), "https://example.org/a?b=c d&e=$(f)|" );
}

TEST_F( Programs, WhatIsNoWebPageIsHandedToNobody )
{
    program( "xdg-open", "touch \"$0.seen\"" );
    const Testing::LogCapture log;
    for ( const char* url : { "file:///etc/passwd", "javascript:alert(1)", "example.org", "", "--help",
              " https://example.org", "HTTPS//example.org", "ftp://example.org" } )
        EXPECT_FALSE( OpenLink( url ) ) << url;
    EXPECT_EQ( log.count( "error: Not a web page: " ), 8u ) << log.text();
    EXPECT_FALSE( std::filesystem::exists( folder_.path() / "xdg-open.seen" ) );
}

TEST_F( Programs, WithoutABrowserALinkSaysSo )
{
    setPath( "/nowhere" );
    const Testing::LogCapture log;
    EXPECT_FALSE( OpenLink( "http://example.org" ) );
    EXPECT_EQ( log.text(), "error: No browser could be started for http://example.org\n" );
}
