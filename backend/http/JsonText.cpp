#include "http/JsonText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

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
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode( &builder.settings_ );
    builder["skipBom"] = false;
    builder["stackLimit"] = 200;
    const std::unique_ptr<Json::CharReader> reader( builder.newCharReader() );
    Json::Value root;
    std::string errors;
    // jsoncpp reports too deep nesting by an exception, everything else by its return value.
    try
    {
        if ( !reader->parse( text.data(), text.data() + text.size(), &root, &errors ) )
            return tl::unexpected( errors );
    }
    catch ( const Json::Exception& e )
    {
        return tl::unexpected( std::string( e.what() ) );
    }
    if ( !root.isObject() )
        return tl::unexpected( std::string( "It is not an object" ) );
    return root;
}

} // namespace VX::Backend
