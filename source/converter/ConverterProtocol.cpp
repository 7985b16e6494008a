#include <VXOrvanta/converter/ConverterProtocol.h>

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/AccountLock.h>

#include <json/writer.h>

#include <map>
#include <unordered_map>

namespace VX::ConverterService::V2
{
namespace
{

const std::string cBaseUrl = ORVANTA_CONVERTER_URL;
const std::string cLogName = "ConverterService";
const std::string cInvalidFormat = "Invalid response format";

std::string toJson( const std::unordered_map<std::string, std::string>& members )
{
    Json::Value root( Json::objectValue );
    for ( const auto& [key, value] : members )
        root[key] = value;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return Json::FastWriter().write( root );
#pragma GCC diagnostic pop
}

WebRequest post( const std::string& path, std::unordered_map<std::string, std::string> members )
{
    members.emplace( "compress_input", "zip" );
    // Requests are built on whatever thread the import goes on.
    if ( auto token = copyOfAccessToken(); !token.empty() )
        members.emplace( "access_token", std::move( token ) );
    WebRequest request( cBaseUrl + path );
    request.setMethod( WebRequest::Method::Post );
    request.setBody( toJson( members ) );
    request.setLogName( cLogName );
    return request;
}

tl::unexpected<std::string> missing( const char* field )
{
    return tl::unexpected( std::string( "\"" ) + field + "\" field is missing" );
}

namespace JsonRpc
{

tl::expected<Json::Value, std::string> parseResponse( const Json::Value& response )
{
    if ( response["code"].asInt() == 0 || !response["error"].isString() )
        return tl::unexpected( std::string( "Connection error" ) );
    if ( !response["text"].isString() )
        return tl::unexpected( response["error"].asString() );
    const auto body = deserializeJsonValue( response["text"].asString() );
    if ( !body )
        return tl::unexpected( body.error() );
    if ( !body->isObject() )
        return tl::unexpected( cInvalidFormat );
    if ( const auto& result = ( *body )["result"]; !result.isNull() )
        return result;
    if ( const auto& error = ( *body )["error"]; error.isObject() && error["message"].isString() )
        return tl::unexpected( error["message"].asString() );
    return tl::unexpected( cInvalidFormat );
}

} // namespace JsonRpc
} // namespace

WebRequest requestConvertContext( const std::string& inputFormat )
{
    return post( "/request", { { "input_format", inputFormat } } );
}

WebRequest startConvert( const std::string& requestId, const std::string& inputFormat, const std::string& outputFormat )
{
    return post( "/convert",
        { { "request_id", requestId }, { "input_format", inputFormat }, { "output_format", outputFormat } } );
}

WebRequest checkConvertStatus( const std::string& requestId )
{
    WebRequest request( cBaseUrl + "/status" );
    request.setMethod( WebRequest::Method::Get );
    request.setParameters( { { "request_id", requestId } } );
    request.setLogName( cLogName );
    return request;
}

tl::expected<RequestConvertContextResult, std::string> RequestConvertContextResult::parseResponse(
    const Json::Value& response )
{
    const auto result = JsonRpc::parseResponse( response );
    if ( !result )
        return tl::unexpected( result.error() );
    if ( !result->isObject() )
        return tl::unexpected( cInvalidFormat );
    const auto& requestId = ( *result )["request_id"];
    if ( !requestId.isString() )
        return missing( "request_id" );
    const auto& url = ( *result )["url"];
    if ( !url.isString() )
        return missing( "url" );
    return RequestConvertContextResult{ requestId.asString(), url.asString() };
}

tl::expected<StartConvertResult, std::string> StartConvertResult::parseResponse( const Json::Value& response )
{
    return JsonRpc::parseResponse( response ).map( []( const Json::Value& ) { return StartConvertResult{}; } );
}

tl::expected<CheckConvertStatusResult, std::string> CheckConvertStatusResult::parseResponse(
    const Json::Value& response )
{
    static const std::map<std::string, State> knownStates = {
        { "not_started", State::NotStarted },
        { "in_progress", State::InProgress },
        { "finished", State::Finished },
    };
    const auto result = JsonRpc::parseResponse( response );
    if ( !result )
        return tl::unexpected( result.error() );
    if ( !result->isObject() )
        return tl::unexpected( cInvalidFormat );
    const auto& text = ( *result )["state"];
    if ( !text.isString() )
        return missing( "state" );
    const auto known = knownStates.find( text.asString() );
    if ( known == knownStates.end() )
        return tl::unexpected( "Unknown state: " + text.asString() );

    CheckConvertStatusResult out{ known->second, {} };
    if ( const auto& url = ( *result )["url"]; url.isString() )
        out.url = url.asString();
    else if ( out.state == State::Finished )
        return missing( "url" );
    return out;
}

} // namespace VX::ConverterService::V2
