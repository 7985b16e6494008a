#include "identity/keys/IdentityKeys.h"

#include "crypto/Hex.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>

#include <sodium.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
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

using Result = tl::expected<IdentityKeys, std::string>;

std::string nameOf( const std::filesystem::path& file )
{
    return "\"" + file.string() + "\"";
}

/// When a file was written last, which is when the one key in it was made.
std::chrono::sys_seconds writtenAt( const std::filesystem::path& file )
{
    struct stat info{};
    return std::chrono::sys_seconds( std::chrono::seconds( ::stat( file.c_str(), &info ) == 0 ? info.st_mtime : 0 ) );
}

SigningKey newSigningKey( std::chrono::sys_seconds now )
{
    return { keyIn( randomHex( cKeySize ) ), now };
}

/// The signing keys of a file; none where any of them is damaged.
std::vector<SigningKey> signingKeysIn( const Json::Value& value, const std::filesystem::path& file )
{
    if ( value.isString() )
        return { { keyIn( value ), writtenAt( file ) } };
    std::vector<SigningKey> out;
    for ( const auto& one : value.isArray() ? value : Json::Value() )
    {
        if ( !one.isObject() || !one["since"].isInt64() )
            return {};
        out.push_back(
            { keyIn( one["seed"] ), std::chrono::sys_seconds( std::chrono::seconds( one["since"].asInt64() ) ) } );
    }
    return out;
}

bool isWhole( const IdentityKeys& keys )
{
    return !keys.codes.empty() && !keys.signing.empty() &&
           std::none_of(
               keys.signing.begin(), keys.signing.end(), []( const SigningKey& key ) { return key.seed.empty(); } );
}

Result readFrom( const std::filesystem::path& file )
{
    if ( const auto problem = readingProblem( file ); !problem.empty() )
        return tl::unexpected( nameOf( file ) + " cannot be read: " + problem );
    const auto root = deserializeJsonValue( file );
    IdentityKeys keys;
    if ( root && root->isObject() )
        keys = { signingKeysIn( ( *root )["signing"], file ), keyIn( ( *root )["codes"] ) };
    // New ones in their place would end every sign-in there is without a word.
    if ( !isWhole( keys ) )
        return tl::unexpected( nameOf( file ) + " is damaged; restore it, or remove it to end all sign-ins" );
    return keys;
}

Result writeTo( const std::filesystem::path& file, IdentityKeys keys )
{
    Json::Value root;
    root["codes"] = hex( keys.codes );
    for ( const auto& key : keys.signing )
    {
        Json::Value one;
        one["seed"] = hex( key.seed );
        one["since"] = Json::Int64( key.since.time_since_epoch().count() );
        root["signing"].append( one );
    }
    return writeFileAtomically( file, root.toStyledString(), { .mode = 0600 } )
        .map( [&] { return std::move( keys ); } );
}

/// Keeps the keys of a folder to one change at a time, of whichever process; the service itself holds another lock.
class ChangeTurn
{
public:
    explicit ChangeTurn( const std::filesystem::path& folder )
        : fd_( ::open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) )
    {
        if ( fd_ >= 0 )
            ::flock( fd_, LOCK_EX );
    }
    ~ChangeTurn()
    {
        if ( fd_ >= 0 )
            ::close( fd_ );
    }
    ChangeTurn( const ChangeTurn& ) = delete;
    ChangeTurn& operator=( const ChangeTurn& ) = delete;

private:
    int fd_;
};

Result change( const std::filesystem::path& folder, const std::function<void( IdentityKeys& )>& edit )
{
    const ChangeTurn turn( folder );
    auto keys = readIdentityKeys( folder );
    if ( !keys )
        return keys;
    edit( *keys );
    return writeTo( identityKeysFile( folder ), std::move( *keys ) );
}

/// How many keys, the oldest of them, have not signed for so long.
size_t numberToDrop( const IdentityKeys& keys, std::chrono::sys_seconds now, std::chrono::seconds unused )
{
    size_t out = 0;
    while ( out + 1 < keys.signing.size() && keys.signing[out + 1].since + unused < now )
        ++out;
    return out;
}

} // namespace

std::filesystem::path identityKeysFile( const std::filesystem::path& folder )
{
    return folder / "identity-keys.json";
}

Result readIdentityKeys( const std::filesystem::path& folder )
{
    const auto file = identityKeysFile( folder );
    if ( std::error_code ec; !std::filesystem::exists( file, ec ) )
        return tl::unexpected( "There is no " + nameOf( file ) );
    return readFrom( file );
}

Result ensureIdentityKeys( const std::filesystem::path& folder, std::chrono::sys_seconds now )
{
    if ( sodium_init() < 0 )
        return tl::unexpected( std::string( "There is no source of randomness" ) );
    const auto file = identityKeysFile( folder );
    if ( std::error_code ec; std::filesystem::exists( file, ec ) )
        return readFrom( file );
    return writeTo( file, { { newSigningKey( now ) }, keyIn( randomHex( cKeySize ) ) } );
}

Result rotateSigningKey( const std::filesystem::path& folder, std::chrono::sys_seconds now )
{
    return change( folder, [now]( IdentityKeys& keys ) { keys.signing.push_back( newSigningKey( now ) ); } );
}

bool hasKeysToDrop( const IdentityKeys& keys, std::chrono::sys_seconds now, std::chrono::seconds unused )
{
    return numberToDrop( keys, now, unused ) > 0;
}

Result dropFormerKeys( const std::filesystem::path& folder, std::chrono::sys_seconds now, std::chrono::seconds unused )
{
    return change( folder,
        [=]( IdentityKeys& keys )
        {
            keys.signing.erase(
                keys.signing.begin(), keys.signing.begin() + std::ptrdiff_t( numberToDrop( keys, now, unused ) ) );
        } );
}

} // namespace VX::Backend
