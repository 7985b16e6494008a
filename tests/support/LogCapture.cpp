#include "support/LogCapture.h"

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <mutex>

namespace VX::Testing
{
namespace
{

class Listener final : public spdlog::sinks::base_sink<std::mutex>
{
public:
    explicit Listener( LogCapture::OnLine onLine )
        : onLine_( std::move( onLine ) )
    {
    }

private:
    void sink_it_( const spdlog::details::log_msg& message ) override
    {
        if ( onLine_ )
            onLine_( { message.payload.data(), message.payload.size() } );
    }
    void flush_() override {}

    LogCapture::OnLine onLine_;
};

/// Keeps the lines, which other threads may write while they are read.
class Lines final : public spdlog::sinks::base_sink<std::mutex>
{
public:
    [[nodiscard]] std::string text()
    {
        const std::lock_guard lock( mutex_ );
        return text_;
    }

private:
    void sink_it_( const spdlog::details::log_msg& message ) override
    {
        spdlog::memory_buf_t line;
        formatter_->format( message, line );
        text_.append( line.data(), line.size() );
    }
    void flush_() override {}

    std::string text_;
};

} // namespace

struct LogCapture::Impl
{
    std::shared_ptr<Lines> lines = std::make_shared<Lines>();
    std::shared_ptr<spdlog::logger> before = spdlog::default_logger();
};

LogCapture::LogCapture( OnLine onLine )
    : impl_( std::make_unique<Impl>() )
{
    auto logger = std::make_shared<spdlog::logger>(
        "capture", spdlog::sinks_init_list{ std::make_shared<Listener>( std::move( onLine ) ), impl_->lines } );
    logger->set_pattern( "%l: %v" );
    logger->set_level( spdlog::level::trace );
    spdlog::set_default_logger( std::move( logger ) );
}

LogCapture::~LogCapture()
{
    spdlog::set_default_logger( impl_->before );
}

std::string LogCapture::text() const
{
    return impl_->lines->text();
}

bool LogCapture::contains( const std::string& part ) const
{
    return count( part ) > 0;
}

size_t LogCapture::count( const std::string& part ) const
{
    const auto all = text();
    size_t found = 0;
    for ( size_t at = all.find( part ); at != std::string::npos; at = all.find( part, at + 1 ) )
        ++found;
    return found;
}

} // namespace VX::Testing
