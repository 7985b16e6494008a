#pragma once

#include <string>
#include <string_view>

namespace VX::Backend
{

/// Two lower-case hexadecimal digits a byte.
[[nodiscard]] std::string hex( std::string_view bytes );

/// That many unguessable bytes as hexadecimal digits. Without a source of randomness the process ends: an id that can
/// be guessed is worse than none.
[[nodiscard]] std::string randomHex( size_t bytes );

/// An unguessable id in the form of a UUID.
[[nodiscard]] std::string randomUuid();

/// The 32 bytes of a text's SHA-256 digest.
[[nodiscard]] std::string sha256( std::string_view text );

/// The 32 bytes of a text's HMAC with SHA-256 (RFC 2104).
[[nodiscard]] std::string hmacSha256( std::string_view key, std::string_view text );

} // namespace VX::Backend
