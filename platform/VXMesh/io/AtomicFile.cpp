#include <VXMesh/io/AtomicFile.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/TemporaryFile.h>
#include <VXMesh/io/WriteAll.h>

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace VX
{
namespace
{

std::error_code writeParts( int fd, std::span<const std::span<const std::byte>> parts, bool flush )
{
    for ( const auto& part : parts )
        if ( const int error = writeAll( fd, part ) )
            return { error, std::generic_category() };
    return { flush && ::fsync( fd ) != 0 ? errno : 0, std::generic_category() };
}

} // namespace

tl::expected<void, std::string> writeFileAtomically( const std::filesystem::path& file,
    std::span<const std::span<const std::byte>> parts, const AtomicWriteOptions& options )
{
    auto temporary = TemporaryFile::createFor( file, options.mode );
    auto error = temporary ? writeParts( temporary->descriptor(), parts, options.flush ) : temporary.error();
    if ( !error )
        error = temporary->moveTo( file );
    if ( !error )
        return {};
    return tl::unexpected( "Cannot write \"" + utf8string( file ) + "\": " + error.message() );
}

tl::expected<void, std::string> writeFileAtomically(
    const std::filesystem::path& file, const std::string& text, const AtomicWriteOptions& options )
{
    const std::span<const std::byte> part( reinterpret_cast<const std::byte*>( text.data() ), text.size() );
    return writeFileAtomically( file, { &part, 1 }, options );
}

} // namespace VX
