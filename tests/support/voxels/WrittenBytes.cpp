#include "support/voxels/WrittenBytes.h"

#include <libdeflate.h>

namespace VX::Testing
{
namespace
{

template <typename Pack>
std::string packed( const std::string& bytes, const Pack& pack )
{
    auto* compressor = ::libdeflate_alloc_compressor( 6 );
    std::string out( bytes.size() + 1000, '\0' );
    out.resize( pack( compressor, bytes.data(), bytes.size(), out.data(), out.size() ) );
    ::libdeflate_free_compressor( compressor );
    return out;
}

} // namespace

std::string gzipped( const std::string& bytes )
{
    return packed( bytes, &::libdeflate_gzip_compress );
}

std::string zlibPacked( const std::string& bytes )
{
    return packed( bytes, &::libdeflate_zlib_compress );
}

} // namespace VX::Testing
