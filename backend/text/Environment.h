#pragma once

#include <cstdlib>
#include <string>

namespace VX::Backend
{

/// The value of a variable of the environment; empty where it is not set.
[[nodiscard]] inline std::string environment( const char* name )
{
    const char* value = std::getenv( name );
    return value ? value : "";
}

} // namespace VX::Backend
