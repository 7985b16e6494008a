#include "identity/keys/KeyPair.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"

#include <sodium.h>

namespace VX::Backend
{
namespace
{

const unsigned char* bytes( std::string_view text )
{
    return reinterpret_cast<const unsigned char*>( text.data() );
}

} // namespace

std::string publicTextOf( const KeyPair& pair )
{
    return base64Url( { reinterpret_cast<const char*>( pair.publicKey.data() ), pair.publicKey.size() } );
}

KeyPair keyPairOf( const std::string& seed )
{
    KeyPair out;
    crypto_sign_seed_keypair( out.publicKey.data(), out.secretKey.data(), bytes( seed ) );
    out.id = base64Url( sha256( R"({"crv":"Ed25519","kty":"OKP","x":")" + publicTextOf( out ) + R"("})" ) );
    return out;
}

std::string signatureOf( const KeyPair& pair, std::string_view text )
{
    std::string out( crypto_sign_BYTES, '\0' );
    crypto_sign_detached(
        reinterpret_cast<unsigned char*>( out.data() ), nullptr, bytes( text ), text.size(), pair.secretKey.data() );
    return out;
}

bool isSignedBy( const KeyPair& pair, std::string_view text, std::string_view signature )
{
    return signature.size() == crypto_sign_BYTES &&
           crypto_sign_verify_detached( bytes( signature ), bytes( text ), text.size(), pair.publicKey.data() ) == 0;
}

} // namespace VX::Backend
