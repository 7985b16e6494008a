#include "crypto/Hex.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <spdlog/spdlog.h>

#include <array>
#include <cstdlib>

namespace VX::Backend
{

std::string hex( std::string_view bytes )
{
    constexpr std::string_view cDigits = "0123456789abcdef";
    std::string out;
    out.reserve( bytes.size() * 2 );
    for ( const char c : bytes )
    {
        const auto byte = static_cast<unsigned char>( c );
        out += cDigits[byte >> 4];
        out += cDigits[byte & 15];
    }
    return out;
}

std::string randomHex( size_t bytes )
{
    std::string random( bytes, '\0' );
    if ( RAND_bytes( reinterpret_cast<unsigned char*>( random.data() ), int( bytes ) ) != 1 )
    {
        spdlog::critical( "There is no source of randomness" );
        std::abort();
    }
    return hex( random );
}

std::string randomUuid()
{
    auto id = randomHex( 16 );
    id[12] = '4';
    id[16] = "89ab"[id[16] & 3];
    for ( const size_t at : { 8, 13, 18, 23 } )
        id.insert( at, "-" );
    return id;
}

std::string sha256( std::string_view text )
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_Digest( text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr );
    return { reinterpret_cast<const char*>( digest.data() ), size };
}

std::string hmacSha256( std::string_view key, std::string_view text )
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    HMAC( EVP_sha256(), key.data(), int( key.size() ), reinterpret_cast<const unsigned char*>( text.data() ),
        text.size(), digest.data(), &size );
    return { reinterpret_cast<const char*>( digest.data() ), size };
}

} // namespace VX::Backend
