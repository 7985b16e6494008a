#pragma once

#include "log/LogEvent.h"

#include <chrono>

namespace VX::Backend
{

/// One line of a log as a JSON object, with its end: time (RFC 3339, UTC), level, message, the id of the request it is
/// about, and fields. Whatever a text has in it, it is one line and valid JSON.
[[nodiscard]] std::string jsonLine( std::chrono::system_clock::time_point time, const char* level,
    const std::string& message, const std::string& request, const std::vector<LogField>& fields = {} );

} // namespace VX::Backend
