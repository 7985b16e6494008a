#pragma once

#include "serve/Daemon.h"

#include <chrono>
#include <functional>
#include <memory>

namespace VX::Backend::Lines
{

using StartDaemon = std::function<tl::expected<std::unique_ptr<Daemon>, std::string>()>;

/// Starts it and lets it work until SIGINT or SIGTERM; what runs then has `drainTime` to come to its end, or until the
/// next of them. SIGHUP has it reload. The exit status.
[[nodiscard]] int runDaemon( const StartDaemon& start, std::chrono::seconds drainTime, bool jsonLog );

} // namespace VX::Backend::Lines
