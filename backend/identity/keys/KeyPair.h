#pragma once

#include <array>
#include <string>
#include <string_view>

namespace VX::Backend
{

/// A key that signs (Ed25519), with what others check its signatures by.
struct KeyPair
{
    std::string id; ///< the same wherever the key is known: the thumbprint of its public half (RFC 7638)
    std::array<unsigned char, 32> publicKey;
    std::array<unsigned char, 64> secretKey;
};

/// That of a seed of 32 bytes.
[[nodiscard]] KeyPair keyPairOf( const std::string& seed );

/// The public half as text: base64url without padding.
[[nodiscard]] std::string publicTextOf( const KeyPair& pair );

[[nodiscard]] std::string signatureOf( const KeyPair& pair, std::string_view text );
/// Whether a signature, of any length, is that of the text by this key.
[[nodiscard]] bool isSignedBy( const KeyPair& pair, std::string_view text, std::string_view signature );

} // namespace VX::Backend
