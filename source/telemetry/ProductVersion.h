#pragma once

#include <VXOrvanta/Export.h>

#include <string>

namespace VX
{

/// A text with "-" for spaces.
[[nodiscard]] VXORVANTA_API std::string noSpaces( std::string text );

/// The product's version as services are told it: with "-" for spaces.
[[nodiscard]] VXORVANTA_API std::string productVersion();

} // namespace VX
