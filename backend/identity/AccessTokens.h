#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <json/value.h>

namespace VX::Backend
{

/// Who a token was given to.
struct TokenOwner
{
    std::string account;
    std::string email;
    /// How often the account's password had been changed.
    int64_t generation = 0;
};

/// Signed tokens of limited life: JSON Web Tokens (RFC 7519) with Ed25519 signatures (RFC 8037). Any thread.
class AccessTokens
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    /// The seed has 32 bytes.
    AccessTokens( const std::string& seed, std::chrono::seconds life, Clock clock );

    [[nodiscard]] std::string accessToken( const TokenOwner& owner ) const;
    /// The same with the address in it, for the client's own use; no service lets anybody in by it.
    [[nodiscard]] std::string idToken( const TokenOwner& owner ) const;
    [[nodiscard]] std::chrono::seconds life() const { return life_; }

    /// Whose an access token is that was signed here and has not expired, without the address; nothing for any other
    /// text.
    [[nodiscard]] std::optional<TokenOwner> ownerOf( const std::string& accessToken ) const;

private:
    [[nodiscard]] std::string signed_( Json::Value claims, const char* use ) const;

    std::array<unsigned char, 32> publicKey_;
    std::array<unsigned char, 64> secretKey_;
    std::chrono::seconds life_;
    Clock clock_;
};

} // namespace VX::Backend
