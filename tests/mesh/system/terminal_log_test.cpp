#include <VXMesh/system/TerminalLog.h>

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>

using namespace VX;

TEST( TerminalLog, WritesNothingThatSteersATerminalOrForgesALine )
{
    const auto former = spdlog::default_logger();
    testing::internal::CaptureStderr();
    startTerminalLog( "terminal-log-test" );
    spdlog::warn( "Auth error: \"{}\"", "no\x1b[2J \u202egone\n[2026-01-01] [backend] [info] all is well" );
    spdlog::default_logger()->flush();
    spdlog::set_default_logger( former );
    const auto written = testing::internal::GetCapturedStderr();
    EXPECT_NE(
        written.find( "[terminal-log-test] [warning] Auth error: \"no␛[2J <U+202E>gone\n    [2026-01-01] [backend]" ),
        std::string::npos )
        << written;
    EXPECT_EQ( written.find( "\x1b[2J" ), std::string::npos );
}
