/// Feeds any bytes to the program as what its services answer.
#include "Scratch.h"

#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/converter/S3.h>
#include <VXViewer/web/WebRequest.h>

using namespace VX;

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    if ( size < 2 )
        return 0;
    Json::Value response( Json::objectValue );
    response["code"] = int( data[0] ) * 4;
    response["error"] = data[1] % 2 ? "The server answered with status 500" : "";
    response["text"] = std::string( Fuzz::text( data + 2, size - 2 ) );
    namespace V2 = ConverterService::V2;
    (void)V2::RequestConvertContextResult::parseResponse( response );
    (void)V2::StartConvertResult::parseResponse( response );
    if ( const auto status = V2::CheckConvertStatusResult::parseResponse( response ) )
        Fuzz::require( status->state != V2::CheckConvertStatusResult::State::Finished || status->url.has_value(),
            "a finished conversion has a URL" );
    (void)S3::parseResponse( response );
    (void)parseResponse( response );
    return 0;
}
