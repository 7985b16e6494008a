#pragma once

#include "identity/keys/AccessTokens.h"
#include "identity/keys/KeyStore.h"

#include <memory>

namespace VX::Backend
{

struct KeyTimes
{
    /// How long a key signs before the next one does.
    std::chrono::seconds renewal = std::chrono::days( 90 );
    /// How long a key is kept that signs no more: longer than a token lives.
    std::chrono::seconds overlap = std::chrono::hours( 32 );
};

/// The signing keys of a running service, which follow what is kept of them. Any thread.
class KeyRing
{
public:
    using Clock = AccessTokens::Clock;

    /// The keys are those of the store that the tokens were made with; the tokens must outlive this.
    KeyRing(
        std::unique_ptr<KeyStore> store, const IdentityKeys& keys, AccessTokens& tokens, KeyTimes times, Clock clock );

    /// Takes over what has been written since it was looked at last. What is gone or damaged changes nothing, which the
    /// log tells once.
    void look();
    /// Renews a key that is old, and forgets those by which no token is good any more.
    void tend();

private:
    void take_( const tl::expected<IdentityKeys, std::string>& keys );

    std::unique_ptr<KeyStore> store_;
    AccessTokens& tokens_;
    KeyTimes times_;
    Clock clock_;
    std::mutex mutex_;
    IdentityKeys keys_;
    /// What was written since the keys were read is still to be seen.
    std::string seen_ = {};
};

} // namespace VX::Backend
