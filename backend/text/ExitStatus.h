#pragma once

#include <tl/expected.hpp>

#include <string>

namespace VX::Backend
{

/// Tells an operator on the standard error what went wrong; the exit status of the command.
[[nodiscard]] int exitStatusOf( const tl::expected<void, std::string>& done );

} // namespace VX::Backend
