#pragma once

#include <map>
#include <optional>
#include <string>

namespace VX::Backend
{

/// Percent-encodes all but A-Z a-z 0-9 - . _ ~ (RFC 3986's unreserved characters), and '/' where asked.
[[nodiscard]] std::string percentEncode( const std::string& text, bool keepSlash = false );

/// Nothing when an escape is cut off or not hexadecimal. A plus sign stays one.
[[nodiscard]] std::optional<std::string> percentDecode( const std::string& text );

/// "convert.example.org" of "https://convert.example.org:8443", "::1" of "https://[::1]"; empty without a scheme.
[[nodiscard]] std::string hostNameOf( const std::string& url );

/// The parameters of a query, decoded; nothing when an escape is wrong or a name is given twice.
[[nodiscard]] std::optional<std::map<std::string, std::string>> parseQuery( const std::string& query );

} // namespace VX::Backend
