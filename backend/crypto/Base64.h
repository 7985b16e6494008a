#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VX::Backend
{

/// RFC 4648 with "+" and "/", padded.
[[nodiscard]] std::string base64( std::string_view bytes );

/// RFC 4648 with "-" and "_", without padding, as JSON Web Tokens have it.
[[nodiscard]] std::string base64Url( std::string_view bytes );
/// Nothing when the text is not of that form.
[[nodiscard]] std::optional<std::string> fromBase64Url( std::string_view text );

} // namespace VX::Backend
