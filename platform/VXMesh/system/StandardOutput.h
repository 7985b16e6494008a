#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace VX
{

/// A copy of standard output for this process's own words; what libraries print to it goes nowhere from now on
/// (to standard error where nowhere cannot be opened).
[[nodiscard]] inline int takeStandardOutput()
{
    const int out = ::dup( STDOUT_FILENO );
    const int nowhere = ::open( "/dev/null", O_WRONLY );
    ::dup2( nowhere < 0 ? STDERR_FILENO : nowhere, STDOUT_FILENO );
    return out;
}

} // namespace VX
