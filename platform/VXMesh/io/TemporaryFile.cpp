#include <VXMesh/io/TemporaryFile.h>

#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace VX
{
namespace
{

std::error_code lastError()
{
    return { errno, std::generic_category() };
}

} // namespace

TemporaryFile::TemporaryFile( int descriptor, std::filesystem::path path )
    : descriptor_( descriptor )
    , path_( std::move( path ) )
{
}

TemporaryFile::TemporaryFile( TemporaryFile&& other ) noexcept
    : descriptor_( std::exchange( other.descriptor_, -1 ) )
    , path_( std::move( other.path_ ) )
{
}

TemporaryFile& TemporaryFile::operator=( TemporaryFile&& other ) noexcept
{
    if ( this != &other )
    {
        discard_();
        descriptor_ = std::exchange( other.descriptor_, -1 );
        path_ = std::move( other.path_ );
    }
    return *this;
}

TemporaryFile::~TemporaryFile()
{
    discard_();
}

tl::expected<TemporaryFile, std::error_code> TemporaryFile::createFor( const std::filesystem::path& target )
{
    constexpr std::string_view cEnding = ".part";
    // Room for the ending, and for what a library that writes it may put behind it meanwhile.
    constexpr size_t cMostOfTarget = NAME_MAX - 32;
    std::string name = ( target.parent_path() / target.filename().string().substr( 0, cMostOfTarget ) ).string();
    name += ".XXXXXX" + std::string( cEnding );
    // It opens with O_CREAT, O_EXCL and mode 0600.
    const int descriptor = ::mkostemps( name.data(), int( cEnding.size() ), O_CLOEXEC );
    if ( descriptor < 0 )
        return tl::unexpected( lastError() );
    return TemporaryFile( descriptor, name );
}

std::error_code TemporaryFile::moveTo( const std::filesystem::path& target )
{
    std::error_code error;
    if ( ::close( std::exchange( descriptor_, -1 ) ) != 0 || ::rename( path_.c_str(), target.c_str() ) != 0 )
    {
        error = lastError();
        ::unlink( path_.c_str() );
    }
    return error;
}

void TemporaryFile::discard_()
{
    if ( descriptor_ < 0 )
        return;
    ::close( descriptor_ );
    ::unlink( path_.c_str() );
    descriptor_ = -1;
}

} // namespace VX
