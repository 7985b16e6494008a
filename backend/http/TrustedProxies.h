#pragma once

#include <tl/expected.hpp>

#include <array>
#include <string>
#include <vector>

namespace VX::Backend
{

/// Whose word is taken for the address of a client: the proxies that stand before this server, by their networks.
class TrustedProxies
{
public:
    /// Nobody is trusted.
    TrustedProxies() = default;
    /// Networks such as "10.0.0.0/8", "fd00::/8" or "127.0.0.1"; the error names the one that is none.
    [[nodiscard]] static tl::expected<TrustedProxies, std::string> parse( const std::vector<std::string>& networks );

    /// The client's address by that of the peer and by "X-Forwarded-For", of which only what trusted proxies have
    /// written counts: its right-most address that is not trusted itself. Of IPv6 the network of a customer, 64 bits.
    /// Empty when nobody is named but this machine: then all who come through it look alike.
    [[nodiscard]] std::string clientOf( const std::string& peer, const std::string& forwardedFor ) const;

    /// Whether this is the address of a trusted proxy.
    [[nodiscard]] bool trusts( const std::string& peer ) const;

private:
    /// IPv4 in its mapped form.
    using Address = std::array<unsigned char, 16>;
    struct Network
    {
        Address address{};
        int bits = 0;
    };

    [[nodiscard]] static bool read( std::string text, Address& out );
    [[nodiscard]] static std::string nameOf( const Address& address );
    [[nodiscard]] bool isTrusted_( const Address& address ) const;

    std::vector<Network> networks_;
};

} // namespace VX::Backend
