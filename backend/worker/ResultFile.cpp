#include "worker/ResultFile.h"

#include <VXMesh/io/WriteAll.h>

#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

tl::unexpected<std::string> failure( int error )
{
    if ( error == EFBIG )
        return tl::unexpected( std::string( "The converted file is too large" ) );
    return tl::unexpected(
        "The conversion service could not keep the converted file: " + std::generic_category().message( error ) );
}

} // namespace

tl::expected<void, std::string> writeResult( const std::filesystem::path& file, std::span<const std::byte> bytes )
{
    const int fd = ::open( file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666 );
    if ( fd < 0 )
        return failure( errno );
    const int written = writeAll( fd, bytes );
    const int closed = ::close( fd ) == 0 ? 0 : errno;
    if ( written != 0 || closed != 0 )
        return failure( written != 0 ? written : closed );
    return {};
}

} // namespace VX::Backend
