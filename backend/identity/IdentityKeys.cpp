#include "identity/IdentityKeys.h"

#include "crypto/Hex.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>

#include <sodium.h>

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

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

/// Why a file cannot be read, such as one of another user, which is no damage; empty when it can.
std::string readingProblem( const std::filesystem::path& file )
{
    std::array<char, 1> byte{};
    const int fd = ::open( file.c_str(), O_RDONLY | O_CLOEXEC );
    const bool read = fd >= 0 && ::read( fd, byte.data(), byte.size() ) >= 0;
    const int error = errno;
    if ( fd >= 0 )
        ::close( fd );
    return read ? std::string() : std::generic_category().message( error );
}

} // namespace

tl::expected<IdentityKeys, std::string> ensureIdentityKeys( const std::filesystem::path& folder )
{
    if ( sodium_init() < 0 )
        return tl::unexpected( std::string( "There is no source of randomness" ) );
    const auto file = folder / "identity-keys.json";
    if ( std::error_code ec; std::filesystem::exists( file, ec ) )
    {
        if ( const auto problem = readingProblem( file ); !problem.empty() )
            return tl::unexpected( "\"" + file.string() + "\" cannot be read: " + problem );
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
