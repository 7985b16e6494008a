#include <VXMesh/io/MappedFile.h>

#include <VXMesh/io/Path.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX
{
namespace
{

std::string failure( const std::filesystem::path& file, int error )
{
    return "Cannot read \"" + utf8string( file ) + "\": " + std::generic_category().message( error );
}

} // namespace

tl::expected<MappedFile, std::string> MappedFile::open( const std::filesystem::path& file )
{
    // A FIFO would keep whoever opens it waiting for somebody to write to it.
    const int fd = ::open( file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    if ( fd < 0 )
        return tl::unexpected( failure( file, errno ) );

    MappedFile out;
    struct stat info{};
    int error = fstat( fd, &info ) == 0 ? 0 : errno;
    if ( !error && !S_ISREG( info.st_mode ) )
        error = S_ISDIR( info.st_mode ) ? EISDIR : EINVAL;
    if ( !error && info.st_size > 0 )
    {
        void* data = mmap( nullptr, size_t( info.st_size ), PROT_READ, MAP_PRIVATE, fd, 0 );
        if ( data == MAP_FAILED )
            error = errno;
        else
        {
            out.data_ = static_cast<const std::byte*>( data );
            out.size_ = size_t( info.st_size );
        }
    }
    ::close( fd );
    if ( error )
        return tl::unexpected( failure( file, error ) );
    return out;
}

MappedFile::MappedFile( MappedFile&& other ) noexcept
    : data_( std::exchange( other.data_, nullptr ) )
    , size_( std::exchange( other.size_, 0 ) )
{
}

MappedFile& MappedFile::operator=( MappedFile&& other ) noexcept
{
    std::swap( data_, other.data_ );
    std::swap( size_, other.size_ );
    return *this;
}

MappedFile::~MappedFile()
{
    if ( data_ )
        munmap( const_cast<std::byte*>( data_ ), size_ );
}

} // namespace VX
