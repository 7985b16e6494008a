#include "files/Digest.h"

#include <VXMesh/io/Path.h>

#include <openssl/evp.h>

#include <cerrno>
#include <memory>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace VX::App
{
namespace
{

using Digest = std::array<unsigned char, 32>;
using Context = std::unique_ptr<EVP_MD_CTX, decltype( &EVP_MD_CTX_free )>;

Context begin()
{
    Context context( EVP_MD_CTX_new(), &EVP_MD_CTX_free );
    EVP_DigestInit_ex( context.get(), EVP_sha256(), nullptr );
    return context;
}

Digest end( const Context& context )
{
    Digest out{};
    EVP_DigestFinal_ex( context.get(), out.data(), nullptr );
    return out;
}

std::string hex( const Digest& digest )
{
    constexpr const char* cDigits = "0123456789abcdef";
    std::string out;
    for ( const auto byte : digest )
    {
        out += cDigits[byte >> 4];
        out += cDigits[byte & 15];
    }
    return out;
}

class OpenFile
{
public:
    explicit OpenFile( const std::filesystem::path& file )
        : fd( ::open( file.c_str(), O_RDONLY | O_CLOEXEC ) )
    {
    }
    OpenFile( const OpenFile& ) = delete;
    OpenFile& operator=( const OpenFile& ) = delete;
    ~OpenFile()
    {
        if ( fd >= 0 )
            ::close( fd );
    }
    const int fd;
};

} // namespace

Digest sha256( std::string_view bytes )
{
    const auto context = begin();
    EVP_DigestUpdate( context.get(), bytes.data(), bytes.size() );
    return end( context );
}

tl::expected<std::string, std::string> fileDigest( const std::filesystem::path& file, const ProgressCallback& progress )
{
    const OpenFile input( file );
    const auto context = begin();
    std::vector<unsigned char> block( 1 << 20 );
    for ( ;; )
    {
        const auto count = input.fd < 0 ? -1 : ::read( input.fd, block.data(), block.size() );
        if ( count < 0 && input.fd >= 0 && errno == EINTR )
            continue;
        if ( count < 0 )
            return tl::unexpected(
                "Cannot read \"" + utf8string( file.filename() ) + "\": " + std::generic_category().message( errno ) );
        if ( count == 0 )
            return hex( end( context ) );
        EVP_DigestUpdate( context.get(), block.data(), size_t( count ) );
        if ( !reportProgress( progress, 0 ) )
            return tl::unexpected( std::string( cOperationCanceled ) );
    }
}

} // namespace VX::App
