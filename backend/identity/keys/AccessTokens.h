#pragma once

#include "identity/keys/IdentityKeys.h"
#include "identity/keys/KeyPair.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

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

/// Signed tokens of limited life: JSON Web Tokens (RFC 7519) with Ed25519 signatures (RFC 8037), each of which names
/// its key ("kid"). Any thread.
class AccessTokens
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    /// The last key that has begun to sign signs, tokens of all are good; there is one at least.
    AccessTokens( const std::vector<SigningKey>& keys, std::chrono::seconds life, Clock clock );
    /// From now on those keys, and no others.
    void setKeys( const std::vector<SigningKey>& keys );

    [[nodiscard]] std::string accessToken( const TokenOwner& owner ) const;
    /// The same with the address in it, for the client's own use; no service lets anybody in by it.
    [[nodiscard]] std::string idToken( const TokenOwner& owner ) const;
    [[nodiscard]] std::chrono::seconds life() const { return life_; }

    /// Whose an access token is that was signed here and has not expired, without the address; nothing for any other
    /// text.
    [[nodiscard]] std::optional<TokenOwner> ownerOf( const std::string& accessToken ) const;

    /// What others check tokens by: the public halves of all keys as a JSON Web Key Set (RFC 7517).
    [[nodiscard]] Json::Value publicKeys() const;

private:
    struct Signer : KeyPair
    {
        std::chrono::sys_seconds since;
    };
    using KeyPairs = std::vector<Signer>;

    [[nodiscard]] std::shared_ptr<const KeyPairs> pairs_() const;
    [[nodiscard]] std::string signed_( Json::Value claims, const char* use ) const;

    mutable std::mutex mutex_;
    std::shared_ptr<const KeyPairs> kept_;
    std::chrono::seconds life_;
    Clock clock_;
};

} // namespace VX::Backend
