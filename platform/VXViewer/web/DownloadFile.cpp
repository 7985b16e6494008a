#include <VXViewer/web/DownloadFile.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/WriteAll.h>

#include <sys/statvfs.h>

namespace VX
{
namespace
{

// Asking the disk costs little, but not nothing; what others fill in the meantime is less than any reserve worth
// having.
constexpr uint64_t cCheckInterval = uint64_t( 8 ) << 20;

std::string cannotWrite( const std::filesystem::path& target, const std::string& why )
{
    return "Cannot write \"" + utf8string( target ) + "\": " + why;
}

std::string inMegabytes( uint64_t size )
{
    return std::to_string( size >> 20 ) + " MB";
}

} // namespace

DownloadFile::DownloadFile( TemporaryFile file, std::filesystem::path target, const Limits& limits )
    : file_( std::move( file ) )
    , target_( std::move( target ) )
    , limits_( limits )
{
}

tl::expected<DownloadFile, std::string> DownloadFile::create(
    const std::filesystem::path& target, const Limits& limits )
{
    auto file = TemporaryFile::createFor( target );
    if ( !file )
        return tl::unexpected( cannotWrite( target, file.error().message() ) );
    return DownloadFile( std::move( *file ), target, limits );
}

tl::unexpected<std::string> DownloadFile::failure_( const std::string& why ) const
{
    return tl::unexpected( cannotWrite( target_, why ) );
}

tl::expected<void, std::string> DownloadFile::checkDisk_( uint64_t coming ) const
{
    struct statvfs disk{};
    if ( ::fstatvfs( file_.descriptor(), &disk ) != 0 )
        return {};
    const uint64_t free = uint64_t( disk.f_bavail ) * disk.f_frsize;
    if ( free >= limits_.reserve && free - limits_.reserve >= coming )
        return {};
    return failure_( "less than " + inMegabytes( limits_.reserve ) + " would stay free on the disk" );
}

tl::expected<void, std::string> DownloadFile::expectSize( uint64_t size ) const
{
    if ( size > limits_.maxSize )
        return failure_( "the answer is larger than " + inMegabytes( limits_.maxSize ) );
    return checkDisk_( size );
}

tl::expected<void, std::string> DownloadFile::write( std::span<const std::byte> bytes )
{
    if ( bytes.size() > limits_.maxSize - written_ )
        return failure_( "the answer is larger than " + inMegabytes( limits_.maxSize ) );
    unchecked_ += bytes.size();
    if ( unchecked_ >= cCheckInterval || written_ == 0 )
    {
        if ( auto fits = checkDisk_( bytes.size() ); !fits )
            return fits;
        unchecked_ = 0;
    }
    if ( const int error = writeAll( file_.descriptor(), bytes ) )
        return failure_( std::generic_category().message( error ) );
    written_ += bytes.size();
    return {};
}

tl::expected<void, std::string> DownloadFile::finish()
{
    if ( const auto error = file_.moveTo( target_ ) )
        return failure_( error.message() );
    return {};
}

} // namespace VX
