#include "identity/IdentityKeys.h"

#include "crypto/Hex.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>

#include <sodium.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cKeySize = 32;

/// The bytes of a text of hexadecimal digits; empty when it is not one of a key's length.
std::string keyIn( const Json::Value& value )
{
    const auto text = value.isString() ? value.asString() : std::string();
    std::string out( cKeySize, '\0' );
    size_t length = 0;
    const bool good = sodium_hex2bin( reinterpret_cast<unsigned char*>( out.data() ), out.size(), text.data(),
                          text.size(), nullptr, &length, nullptr ) == 0;
    return good && length == cKeySize && text.size() == 2 * cKeySize ? out : std::string();
}

} // namespace

tl::expected<IdentityKeys, std::string> ensureIdentityKeys( const std::filesystem::path& folder )
{
    if ( sodium_init() < 0 )
        return tl::unexpected( std::string( "There is no source of randomness" ) );
    const auto file = folder / "identity-keys.json";
    if ( std::error_code ec; std::filesystem::exists( file, ec ) )
    {
        const auto root = deserializeJsonValue( file );
        IdentityKeys keys;
        if ( root && root->isObject() )
            keys = { keyIn( ( *root )["signing"] ), keyIn( ( *root )["codes"] ) };
        // New ones in their place would end every sign-in there is without a word.
        if ( keys.signing.empty() || keys.codes.empty() )
            return tl::unexpected(
                "\"" + file.string() + "\" is damaged; restore it, or remove it to end all sign-ins" );
        return keys;
    }
    Json::Value root;
    root["signing"] = randomHex( cKeySize );
    root["codes"] = randomHex( cKeySize );
    if ( auto written = writeFileAtomically( file, root.toStyledString(), { .mode = 0600 } ); !written )
        return tl::unexpected( written.error() );
    return IdentityKeys{ keyIn( root["signing"] ), keyIn( root["codes"] ) };
}

} // namespace VX::Backend
