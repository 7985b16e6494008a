#pragma once

#include <VXOrvanta/Export.h>

#include <string>

namespace VX
{

/// Where the program can be downloaded, on the product's web site.
[[nodiscard]] VXORVANTA_API std::string downloadPage();

/// The video for a first session, on the same site.
[[nodiscard]] VXORVANTA_API std::string onboardingVideoPage();

} // namespace VX
