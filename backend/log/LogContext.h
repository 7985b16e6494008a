#pragma once

#include <string>

namespace VX::Backend
{

/// What the lines that a thread logs are about, as long as this lives: the request by whose name they are found.
class LogContext
{
public:
    explicit LogContext( std::string request );
    ~LogContext();
    LogContext( const LogContext& ) = delete;
    LogContext& operator=( const LogContext& ) = delete;

    /// That of this thread; empty when it works for none.
    [[nodiscard]] static const std::string& request();

private:
    std::string before_;
};

} // namespace VX::Backend
