#include "http/TrustedProxies.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <arpa/inet.h>

namespace VX::Backend
{
namespace
{

constexpr std::array<unsigned char, 12> cMapped = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff };
constexpr std::array<unsigned char, 16> cLoopback6 = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1 };
constexpr size_t cCustomer = 8; // bytes of an IPv6 address
constexpr unsigned char cLoopback4 = 127;

bool isVersion4( const std::array<unsigned char, 16>& address )
{
    return std::equal( cMapped.begin(), cMapped.end(), address.begin() );
}

bool isThisMachine( const std::array<unsigned char, 16>& address )
{
    return isVersion4( address ) ? address[cMapped.size()] == cLoopback4 : address == cLoopback6;
}

std::string trimmed( const std::string& text )
{
    const auto first = text.find_first_not_of( " \t" );
    return first == std::string::npos ? std::string()
                                      : text.substr( first, text.find_last_not_of( " \t" ) - first + 1 );
}

/// "[::1]:80" and "1.2.3.4:80" without what does not belong to the address.
std::string withoutPort( const std::string& text )
{
    if ( text.starts_with( '[' ) )
        return text.substr( 1, text.find( ']' ) - 1 );
    return std::count( text.begin(), text.end(), ':' ) == 1 ? text.substr( 0, text.find( ':' ) ) : text;
}

} // namespace

bool TrustedProxies::read( std::string text, Address& out )
{
    text = text.substr( 0, text.find( '%' ) );
    if ( ::inet_pton( AF_INET6, text.c_str(), out.data() ) == 1 )
        return true;
    std::copy( cMapped.begin(), cMapped.end(), out.begin() );
    return ::inet_pton( AF_INET, text.c_str(), out.data() + cMapped.size() ) == 1;
}

tl::expected<TrustedProxies, std::string> TrustedProxies::parse( const std::vector<std::string>& networks )
{
    TrustedProxies out;
    for ( const auto& text : networks )
    {
        const auto slash = text.find( '/' );
        Network network;
        bool good = read( text.substr( 0, slash ), network.address );
        const int before = isVersion4( network.address ) ? int( cMapped.size() ) * 8 : 0;
        network.bits = 128;
        if ( good && slash != std::string::npos )
        {
            const char* end = text.data() + text.size();
            const auto [last, error] = std::from_chars( text.data() + slash + 1, end, network.bits );
            network.bits += before;
            good = error == std::errc() && last == end && network.bits >= before && network.bits <= 128;
        }
        if ( !good )
            return tl::unexpected( "\"" + text + "\" is no network such as 10.0.0.0/8" );
        out.networks_.push_back( network );
    }
    return out;
}

bool TrustedProxies::isTrusted_( const Address& address ) const
{
    return std::any_of( networks_.begin(), networks_.end(),
        [&]( const Network& network )
        {
            const auto whole = size_t( network.bits / 8 );
            const int rest = network.bits % 8;
            if ( std::memcmp( address.data(), network.address.data(), whole ) != 0 )
                return false;
            return rest == 0 || ( ( address[whole] ^ network.address[whole] ) >> ( 8 - rest ) ) == 0;
        } );
}

std::string TrustedProxies::nameOf( const Address& address )
{
    if ( isThisMachine( address ) )
        return {};
    char text[INET6_ADDRSTRLEN] = "";
    if ( isVersion4( address ) )
    {
        ::inet_ntop( AF_INET, address.data() + cMapped.size(), text, sizeof text );
        return text;
    }
    Address network{};
    std::copy_n( address.begin(), cCustomer, network.begin() );
    ::inet_ntop( AF_INET6, network.data(), text, sizeof text );
    return text + std::string( "/64" );
}

bool TrustedProxies::trusts( const std::string& peer ) const
{
    Address address{};
    return read( peer, address ) && isTrusted_( address );
}

std::string TrustedProxies::clientOf( const std::string& peer, const std::string& forwardedFor ) const
{
    Address address{};
    if ( !read( peer, address ) )
        return {};
    auto left = forwardedFor;
    while ( isTrusted_( address ) && !left.empty() )
    {
        const auto comma = left.rfind( ',' );
        const auto last = trimmed( comma == std::string::npos ? left : left.substr( comma + 1 ) );
        left = comma == std::string::npos ? std::string() : left.substr( 0, comma );
        Address next{};
        if ( !read( withoutPort( last ), next ) )
            break;
        address = next;
    }
    return nameOf( address );
}

} // namespace VX::Backend
