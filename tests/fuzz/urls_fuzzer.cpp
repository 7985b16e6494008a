/// Feeds any bytes to the back end as URLs and tokens. Nothing that is not signed may get through.
#include "Scratch.h"

#include "identity/keys/AccessTokens.h"
#include "storage/Presigner.h"
#include "text/Uri.h"

using namespace VX;
using namespace VX::Backend;

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    const std::string bytes( Fuzz::text( data, size ) );
    const auto mark = bytes.find( '?' );
    PresignedRequest request;
    request.method = "GET";
    request.path = bytes.substr( 0, mark );
    request.query = mark == std::string::npos ? "" : bytes.substr( mark + 1 );
    request.headers["host"] = "localhost:8443";
    const S3Credentials credentials{ "KEY", "a secret that the fuzzer does not know", "us-east-1", "" };
    Fuzz::require( !verifyPresigned( request, credentials, std::chrono::sys_seconds( std::chrono::hours( 490'000 ) ) ),
        "a stranger's URL is refused" );
    (void)parseQuery( request.query );
    if ( const auto decoded = percentDecode( bytes ) )
        Fuzz::require( percentDecode( percentEncode( *decoded ) ) == decoded, "encoding can be undone" );
    static const AccessTokens sTokens( { { std::string( 32, 's' ), {} } }, std::chrono::hours( 1 ),
        [] { return std::chrono::sys_seconds( std::chrono::hours( 490'000 ) ); } );
    Fuzz::require( !sTokens.ownerOf( bytes ), "a stranger's token is refused" );
    return 0;
}
