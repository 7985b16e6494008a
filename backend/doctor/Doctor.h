#pragma once

#include "doctor/Checks.h"

namespace VX::Backend
{

/// Looks at a folder of data and the machine it is on, beside a running service or without one. In the folder nothing
/// is changed.
[[nodiscard]] Findings examine( Patient patient );

/// Prints a line for each thing that was looked at, "ok", "warn" or "fail" before it, on the standard output; the exit
/// status is 1 where anything fails.
[[nodiscard]] int runDoctor( const Patient& patient );

} // namespace VX::Backend
