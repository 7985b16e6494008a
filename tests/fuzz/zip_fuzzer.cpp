/// Feeds any bytes to the back end as an uploaded archive.
#include "Scratch.h"

#include <VXMesh/io/Zip.h>

using namespace VX;

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    static const Fuzz::Scratch sScratch;
    constexpr uint64_t cLimit = 1 << 20;
    const auto archive = sScratch.write( "input.zip", Fuzz::text( data, size ) );
    const auto target = sScratch.path() / "input.step";
    const auto done = extractSingleFile( archive, target, { cLimit, 10 } );
    std::error_code ec;
    const auto unpacked = std::filesystem::file_size( target, ec );
    Fuzz::require( done.has_value() == !ec, "a file is left if and only if it was unpacked" );
    Fuzz::require( ec || unpacked <= cLimit, "the limit is kept" );
    Fuzz::require( done || !done.error().empty(), "a refusal says why" );
    std::filesystem::remove( target, ec );
    return 0;
}
