#include <VXMesh/io/TemporaryFile.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace VX
{
namespace
{

std::error_code lastError()
{
    return { errno, std::generic_category() };
}

/// The name with something behind it that no neighbour can guess and no earlier run has left: it is never tried twice.
tl::expected<std::filesystem::path, std::error_code> nameFor( const std::filesystem::path& target )
{
    // Room for the ending, and for what a library that writes it may put behind it meanwhile.
    constexpr size_t cMostOfTarget = NAME_MAX - 32;
    uint64_t random = 0;
    if ( ::getentropy( &random, sizeof random ) != 0 )
        return tl::unexpected( lastError() );
    const auto name = target.filename().string();
    auto length = std::min( name.size(), cMostOfTarget );
    // Not in the middle of a letter: some file systems refuse half of one.
    while ( length > 0 && ( name[length] & 0xC0 ) == 0x80 )
        --length;
    return target.parent_path() / fmt::format( "{}.{:016x}.part", name.substr( 0, length ), random );
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

tl::expected<TemporaryFile, std::error_code> TemporaryFile::createFor(
    const std::filesystem::path& target, unsigned mode )
{
    const auto name = nameFor( target );
    if ( !name )
        return tl::unexpected( name.error() );
    const int descriptor = ::open( name->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode );
    if ( descriptor < 0 )
        return tl::unexpected( lastError() );
    return TemporaryFile( descriptor, *name );
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
}

} // namespace VX
