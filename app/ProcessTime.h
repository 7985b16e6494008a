#pragma once

namespace VX::App
{

/// Time since the system started this process, to a hundredth of a second; negative when it cannot be told.
[[nodiscard]] double secondsSinceProcessStart();

} // namespace VX::App
