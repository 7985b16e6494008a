#pragma once

#include <json/value.h>
#include <tl/expected.hpp>

#include <string>

namespace VX::Backend
{

/// A JSON document on one line, without spaces.
[[nodiscard]] std::string compactJson( const Json::Value& value );

/// A JSON array of texts, on one line: what a statement takes for a list, as `IN (SELECT value FROM json_each(?))`.
template <typename Texts>
[[nodiscard]] std::string compactList( const Texts& texts )
{
    Json::Value out( Json::arrayValue );
    for ( const auto& text : texts )
        out.append( text );
    return compactJson( out );
}

/// Reads an object as strangers have to send it (RFC 8259): no comments, no byte order mark, no name twice, nothing
/// after its end. The error says what is wrong. Others that read the same bytes may take anything more for something
/// else.
[[nodiscard]] tl::expected<Json::Value, std::string> readRequestJson( const std::string& text );

} // namespace VX::Backend
