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

std::string textMember( const Json::Value& object, const char* key )
{
    return object.isObject() && object[key].isString() ? object[key].asString() : std::string();
}

} // namespace VX::Backend
