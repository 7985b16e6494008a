#include "log/JsonLog.h"

#include "log/JsonLine.h"
#include "log/LineWriter.h"
#include "log/LogContext.h"

#include <spdlog/sinks/sink.h>
#include <spdlog/spdlog.h>

#include <mutex>

namespace VX::Backend
{
namespace
{

const char* levelName( spdlog::level::level_enum level )
{
    switch ( level )
    {
    case spdlog::level::trace:
    case spdlog::level::debug:
        return "debug";
    case spdlog::level::info:
        return "info";
    case spdlog::level::warn:
        return "warning";
    default:
        return "error";
    }
}

class JsonSink final : public spdlog::sinks::sink
{
public:
    explicit JsonSink( std::shared_ptr<LineWriter> writer )
        : writer_( std::move( writer ) )
    {
    }
    void log( const spdlog::details::log_msg& message ) override
    {
        const std::string text( message.payload.data(), message.payload.size() );
        writer_->write( jsonLine( message.time, levelName( message.level ), text, LogContext::request() ) );
    }
    void flush() override {}
    void set_pattern( const std::string& ) override {}
    void set_formatter( std::unique_ptr<spdlog::formatter> ) override {}

private:
    std::shared_ptr<LineWriter> writer_;
};

/// Where events go; nowhere while people read the log.
struct Place
{
    std::mutex mutex;
    std::shared_ptr<LineWriter> writer;
};

/// Never destroyed, for threads log until the end.
Place& place()
{
    static auto& sPlace = *new Place;
    return sPlace;
}

} // namespace

JsonLog::JsonLog( int descriptor )
    : writer_( std::make_shared<LineWriter>( descriptor ) )
    , before_( spdlog::default_logger() )
{
    auto logger = std::make_shared<spdlog::logger>( "json", std::make_shared<JsonSink>( writer_ ) );
    logger->set_level( before_->level() );
    spdlog::set_default_logger( std::move( logger ) );
    const std::lock_guard lock( place().mutex );
    place().writer = writer_;
}

JsonLog::~JsonLog()
{
    {
        const std::lock_guard lock( place().mutex );
        place().writer.reset();
    }
    spdlog::set_default_logger( before_ );
}

void JsonLog::write( const std::string& message, const std::vector<LogField>& fields )
{
    std::shared_ptr<LineWriter> writer;
    {
        const std::lock_guard lock( place().mutex );
        writer = place().writer;
    }
    if ( writer )
        writer->write( jsonLine( std::chrono::system_clock::now(), "info", message, LogContext::request(), fields ) );
}

} // namespace VX::Backend
