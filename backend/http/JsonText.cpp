#include "http/JsonText.h"

#include <json/writer.h>

namespace VX::Backend
{

std::string compactJson( const Json::Value& value )
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString( builder, value );
}

} // namespace VX::Backend
