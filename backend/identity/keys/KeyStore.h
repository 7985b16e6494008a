#pragma once

#include "identity/keys/IdentityKeys.h"

#include <functional>
#include <optional>

namespace VX::Backend
{

/// Where the secrets of the identity service are kept. Any thread, and beside other processes that change them.
class KeyStore
{
public:
    using Result = tl::expected<IdentityKeys, std::string>;

    virtual ~KeyStore() = default;
    KeyStore( const KeyStore& ) = delete;
    KeyStore& operator=( const KeyStore& ) = delete;

    /// What it is called in messages.
    [[nodiscard]] virtual std::string name() const = 0;
    [[nodiscard]] virtual Result read() = 0;
    /// Reads them, or makes them when there are none.
    [[nodiscard]] virtual Result ensure( std::chrono::sys_seconds now ) = 0;
    /// One at a time; what they are then.
    [[nodiscard]] virtual Result change( const std::function<void( IdentityKeys& )>& edit ) = 0;
    /// How long it takes until all who share them have heard of a new one, which signs from then on.
    [[nodiscard]] virtual std::chrono::seconds notice() const = 0;
    /// What is another one when they have been written anew; none where that cannot be told now.
    [[nodiscard]] virtual std::optional<std::string> stamp() = 0;

protected:
    KeyStore() = default;
};

/// Adds a key that signs from now on, or once all have heard of it, unless the newest one is younger than `age`; the
/// former ones stay.
[[nodiscard]] KeyStore::Result rotateSigningKey(
    KeyStore& store, std::chrono::sys_seconds now, std::chrono::seconds age = {} );
/// Forgets the keys that have not signed for so long.
[[nodiscard]] KeyStore::Result dropFormerKeys(
    KeyStore& store, std::chrono::sys_seconds now, std::chrono::seconds unused );

} // namespace VX::Backend
