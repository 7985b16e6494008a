#include "text/JsonText.h"

#include <VXMesh/io/Json.h>

#include <json/writer.h>

namespace VX::Backend
{

std::string compactJson( const Json::Value& value )
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString( builder, value );
}

tl::expected<Json::Value, std::string> readRequestJson( const std::string& text )
{
    auto root = deserializeStrictJson( text );
    if ( root && !root->isObject() )
        return tl::unexpected( std::string( "It is not an object" ) );
    return root;
}

} // namespace VX::Backend
