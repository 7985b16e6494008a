#include "log/LogContext.h"

#include <utility>

namespace VX::Backend
{
namespace
{

std::string& current()
{
    static thread_local std::string sRequest;
    return sRequest;
}

} // namespace

LogContext::LogContext( std::string request )
    : before_( std::exchange( current(), std::move( request ) ) )
{
}

LogContext::~LogContext()
{
    current() = std::move( before_ );
}

const std::string& LogContext::request()
{
    return current();
}

} // namespace VX::Backend
