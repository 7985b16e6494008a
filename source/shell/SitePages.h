#pragma once

#include <VXOrvanta/Export.h>

#include <string>

namespace VX
{

/// Where the program can be downloaded, on the product's web site.
[[nodiscard]] VXORVANTA_API std::string downloadPage();

} // namespace VX
