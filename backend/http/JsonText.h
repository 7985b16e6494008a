#pragma once

#include <json/value.h>

#include <string>

namespace VX::Backend
{

/// A JSON document on one line, without spaces.
[[nodiscard]] std::string compactJson( const Json::Value& value );

/// The member of an object when it is a text; empty when it is missing or of another type, or when there is no object.
[[nodiscard]] std::string textMember( const Json::Value& object, const char* key );

} // namespace VX::Backend
