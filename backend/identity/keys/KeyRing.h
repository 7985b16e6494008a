#pragma once

#include "identity/keys/AccessTokens.h"

#include <array>

namespace VX::Backend
{

struct KeyTimes
{
    /// How long a key signs before the next one does.
    std::chrono::seconds renewal = std::chrono::days( 90 );
    /// How long a key is kept that signs no more: longer than a token lives.
    std::chrono::seconds overlap = std::chrono::hours( 32 );
};

/// The signing keys of a running service, which follow their file. Any thread.
class KeyRing
{
public:
    using Clock = AccessTokens::Clock;

    /// The keys are those that the tokens were made with, of the file in the folder; the tokens must outlive this.
    KeyRing(
        std::filesystem::path folder, const IdentityKeys& keys, AccessTokens& tokens, KeyTimes times, Clock clock );

    /// Takes over what has been written into the file since it was looked at last. A file that is gone or damaged
    /// changes nothing, which the log tells once.
    void look();
    /// Renews a key that is old, and forgets those by which no token is good any more.
    void tend();

private:
    /// What is another one when a file has been written anew.
    using Stamp = std::array<int64_t, 4>;

    [[nodiscard]] Stamp stampNow_() const;
    void take_( const tl::expected<IdentityKeys, std::string>& keys );

    std::filesystem::path folder_;
    AccessTokens& tokens_;
    KeyTimes times_;
    Clock clock_;
    std::mutex mutex_;
    IdentityKeys keys_;
    Stamp seen_;
};

} // namespace VX::Backend
