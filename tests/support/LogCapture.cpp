#include "support/LogCapture.h"

#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <sstream>

namespace VX::Testing
{

struct LogCapture::Impl
{
    std::ostringstream stream;
    std::shared_ptr<spdlog::logger> before = spdlog::default_logger();
};

LogCapture::LogCapture()
    : impl_( std::make_unique<Impl>() )
{
    auto logger = std::make_shared<spdlog::logger>(
        "capture", std::make_shared<spdlog::sinks::ostream_sink_mt>( impl_->stream ) );
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
