#include <VXMesh/io/AtomicFile.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/WriteAll.h>

#include <atomic>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace VX
{
namespace
{

int writeParts( int fd, std::span<const std::span<const std::byte>> parts, bool flush )
{
    for ( const auto& part : parts )
        if ( const int error = writeAll( fd, part ) )
            return error;
    return flush && ::fsync( fd ) != 0 ? errno : 0;
}

std::filesystem::path temporaryBeside( const std::filesystem::path& file )
{
    static std::atomic<unsigned> sCounter{ 0 };
    auto name = file;
    name += "." + std::to_string( getpid() ) + "-" + std::to_string( sCounter++ ) + ".tmp";
    return name;
}

} // namespace

tl::expected<void, std::string> writeFileAtomically( const std::filesystem::path& file,
    std::span<const std::span<const std::byte>> parts, const AtomicWriteOptions& options )
{
    const auto temporary = temporaryBeside( file );
    const int fd = ::open( temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, options.mode );
    int error = fd < 0 ? errno : writeParts( fd, parts, options.flush );
    if ( fd >= 0 && ::close( fd ) != 0 && !error )
        error = errno;
    if ( !error && ::rename( temporary.c_str(), file.c_str() ) != 0 )
        error = errno;
    if ( !error )
        return {};
    if ( fd >= 0 )
        ::unlink( temporary.c_str() );
    return tl::unexpected( "Cannot write \"" + utf8string( file ) + "\": " + std::generic_category().message( error ) );
}

tl::expected<void, std::string> writeFileAtomically(
    const std::filesystem::path& file, const std::string& text, const AtomicWriteOptions& options )
{
    const std::span<const std::byte> part( reinterpret_cast<const std::byte*>( text.data() ), text.size() );
    return writeFileAtomically( file, { &part, 1 }, options );
}

} // namespace VX
