#include "log/JsonLine.h"
#include "log/JsonLog.h"
#include "log/LineWriter.h"
#include "log/LogContext.h"
#include "metrics/Measures.h"
#include "monitor/ProcessFigures.h"
#include "support/Patience.h"
#include "work/TurnPool.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>

#include <future>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

const auto cTime = std::chrono::system_clock::time_point( std::chrono::milliseconds( 1'700'000'000'042 ) );

/// A pipe whose reader reads when it is asked to.
class Pipe
{
public:
    Pipe() { EXPECT_EQ( ::pipe2( ends_, O_CLOEXEC ), 0 ); }
    ~Pipe()
    {
        ::close( ends_[0] );
        close();
    }
    [[nodiscard]] int reader() const { return ends_[0]; }
    [[nodiscard]] int writer() const { return ends_[1]; }
    void close()
    {
        if ( ends_[1] >= 0 )
            ::close( ends_[1] );
        ends_[1] = -1;
    }
    /// All lines, once no more can come.
    std::vector<std::string> lines()
    {
        close();
        std::string text;
        char buffer[65536];
        for ( ssize_t n = 0; ( n = ::read( ends_[0], buffer, sizeof buffer ) ) > 0; )
            text.append( buffer, size_t( n ) );
        std::istringstream in( text );
        std::vector<std::string> out;
        for ( std::string line; std::getline( in, line ); )
            out.push_back( line );
        return out;
    }

private:
    int ends_[2] = { -1, -1 };
};

/// What nobody has read yet.
int bytesIn( const Pipe& pipe )
{
    int out = 0;
    ::ioctl( pipe.reader(), FIONREAD, &out );
    return out;
}

Json::Value parsed( const std::string& line )
{
    const auto out = deserializeJsonValue( line );
    EXPECT_TRUE( out ) << line;
    return out.value_or( Json::Value( Json::objectValue ) );
}

} // namespace

TEST( JsonLog, ALineHasTimeLevelMessageIdAndFields )
{
    EXPECT_EQ( jsonLine( cTime, "info", "request", "ab12",
                   { { "service", "auth" }, { "route", "" }, { "status", 200 }, { "duration", .25 },
                       { "sent", uint64_t( 5 ) << 40 } } ),
        R"({"time":"2023-11-14T22:13:20.042Z","level":"info","message":"request","id":"ab12","service":"auth",)"
        R"("status":200,"duration":0.250000,"sent":5497558138880})"
        "\n" );
    EXPECT_EQ( jsonLine( cTime, "error", "m", {} ),
        R"({"time":"2023-11-14T22:13:20.042Z","level":"error","message":"m"})"
        "\n" );
}

TEST( JsonLog, WhateverIsSaidIsOneLineOfValidJson )
{
    std::string all;
    for ( int i = 0; i < 256; ++i )
        all += char( i );
    const auto line = jsonLine( cTime, "info", all + "\"}\n{", all, { { "route", all } } );
    EXPECT_EQ( line.find( '\n' ), line.size() - 1 );
    const auto json = parsed( line );
    EXPECT_EQ( json.size(), 5u );
    EXPECT_NE( json["message"].asString().find( "\"}\n" ), std::string::npos ) << line;
    for ( const char c : line.substr( 0, line.size() - 1 ) )
        EXPECT_TRUE( c < 0 || c >= ' ' ) << int( c );
}

TEST( JsonLog, WordsAndEventsAreAboutTheRequestOfTheirThread )
{
    const auto before = spdlog::default_logger();
    Pipe pipe;
    {
        const JsonLog log( pipe.writer() );
        const LogContext outer( "one" );
        spdlog::warn( "words" );
        {
            const LogContext inner( "two" );
            logEvent( "event", { { "status", 7 } } );
        }
        TurnPool pool( 1, 10 );
        std::promise<void> done;
        pool.run( {}, { [&] { spdlog::error( "elsewhere" ), done.set_value(); }, [] { FAIL() << "it has room"; } } );
        done.get_future().wait();
        pool.stop();
        std::thread( [] { spdlog::info( "nobody's" ); } ).join();
    }
    EXPECT_EQ( spdlog::default_logger(), before );
    logEvent( "late", {} );
    const auto lines = pipe.lines();
    ASSERT_EQ( lines.size(), 4u );
    EXPECT_EQ( parsed( lines[0] )["id"].asString(), "one" );
    EXPECT_EQ( parsed( lines[0] )["level"].asString(), "warning" );
    EXPECT_EQ( parsed( lines[0] )["message"].asString(), "words" );
    EXPECT_EQ( parsed( lines[1] )["id"].asString(), "two" );
    EXPECT_EQ( parsed( lines[1] )["status"].asInt(), 7 );
    EXPECT_EQ( parsed( lines[2] )["id"].asString(), "one" )
        << "what a thread of a pool does is for who gave it the work";
    EXPECT_FALSE( parsed( lines[3] ).isMember( "id" ) );
}

TEST( JsonLog, WhoLogsWaitsForNobodyWhoReads )
{
    const auto lost = measures().lostLogLines.load();
    const Pipe pipe;
    LineWriter writer( pipe.writer() );
    const std::string line = std::string( 1023, 'x' ) + "\n";
    size_t written = 0;
    // More than any pipe and the writer itself hold.
    for ( ; measures().lostLogLines == lost && written < 100'000; ++written )
        writer.write( line );
    EXPECT_EQ( measures().lostLogLines, lost + 1 );
    const size_t kept = ( written - 1 ) * line.size();
    size_t read = 0;
    std::string buffer( 65536, 0 );
    for ( ssize_t n = 0; read < kept && ( n = ::read( pipe.reader(), buffer.data(), buffer.size() ) ) > 0; )
        read += size_t( n );
    EXPECT_EQ( read, kept ) << "all but the line that was lost";
}

TEST( JsonLog, ItsEndWaitsASecondForWhoReadsNothingAndForNobodyElse )
{
    const auto timeOf = []( const std::function<void()>& work )
    {
        const auto begin = std::chrono::steady_clock::now();
        work();
        return std::chrono::steady_clock::now() - begin;
    };
    const Pipe pipe;
    EXPECT_LT( timeOf( [&] { const LineWriter idle( pipe.writer() ); } ), std::chrono::milliseconds( 900 ) );
    // More than the pipe holds, so that the writer stands still in the midst of it.
    const std::string line( 200'000, 'x' );
    auto writer = std::make_unique<LineWriter>( pipe.writer() );
    writer->write( line );
    for ( const Testing::Patience patience; bytesIn( pipe ) == 0; patience.check() )
        std::this_thread::yield();
    EXPECT_GE( timeOf( [&] { writer.reset(); } ), std::chrono::seconds( 1 ) );
    std::string buffer( 65536, 0 );
    size_t read = 0;
    for ( ssize_t n = 0; read < line.size() && ( n = ::read( pipe.reader(), buffer.data(), buffer.size() ) ) > 0; )
        read += size_t( n );
    EXPECT_EQ( read, line.size() ) << "its thread goes on";
}

TEST( JsonLog, ItsThreadEndsWithItAndNotBefore )
{
    const Pipe pipe;
    // A sanitizer has a thread of its own from a process's first one on.
    std::thread( [] {} ).join();
    const auto before = processFigures().threads;
    {
        LineWriter writer( pipe.writer() );
        for ( const int written : { 5, 10 } )
        {
            writer.write( "line\n" );
            for ( const Testing::Patience patience; bytesIn( pipe ) < written; patience.check() )
                std::this_thread::yield();
        }
    }
    for ( const Testing::Patience patience; processFigures().threads > before; patience.check() )
        std::this_thread::yield();
}
