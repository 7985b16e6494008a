#pragma once

#include "log/LogEvent.h"

#include <memory>

namespace spdlog
{
class logger;
}

namespace VX::Backend
{

class LineWriter;

/// The log of this process as lines of JSON, as long as this lives: what is logged in words, and events. One at a time.
class JsonLog
{
public:
    /// Writes to a descriptor, which is that of standard error but in tests.
    explicit JsonLog( int descriptor );
    /// The log is again what it was before.
    ~JsonLog();
    JsonLog( const JsonLog& ) = delete;
    JsonLog& operator=( const JsonLog& ) = delete;

    /// Writes an event to the one there is. Any thread.
    static void write( const std::string& message, const std::vector<LogField>& fields );

private:
    std::shared_ptr<LineWriter> writer_;
    std::shared_ptr<spdlog::logger> before_;
};

} // namespace VX::Backend
