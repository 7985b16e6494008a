#pragma once

#include <json/value.h>

#include <string>

namespace VX::Backend
{

/// A JSON document on one line, without spaces.
[[nodiscard]] std::string compactJson( const Json::Value& value );

} // namespace VX::Backend
