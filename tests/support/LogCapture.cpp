#include "support/LogCapture.h"

#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <mutex>
#include <sstream>

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

} // namespace

struct LogCapture::Impl
{
    std::ostringstream stream;
    std::shared_ptr<spdlog::logger> before = spdlog::default_logger();
};

LogCapture::LogCapture( OnLine onLine )
    : impl_( std::make_unique<Impl>() )
{
    auto logger = std::make_shared<spdlog::logger>(
        "capture", spdlog::sinks_init_list{ std::make_shared<Listener>( std::move( onLine ) ),
                       std::make_shared<spdlog::sinks::ostream_sink_mt>( impl_->stream ) } );
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
    return impl_->stream.str();
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
