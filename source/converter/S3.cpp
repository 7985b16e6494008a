#include <VXOrvanta/converter/S3.h>

#include <VXMesh/io/Path.h>

namespace VX::S3
{
namespace
{

constexpr int cTransferTimeout = 600000; // ms; the service's presigned URLs live longer
const std::string cLogName = "S3";

WebRequest transfer( const std::string& url )
{
    WebRequest request( url );
    request.setTimeout( cTransferTimeout );
    request.setLogName( cLogName );
    return request;
}

} // namespace

WebRequest uploadWithPresignedUrl(
    const std::string& url, const std::filesystem::path& file, ProgressCallback progress )
{
    auto request = transfer( url );
    request.setMethod( WebRequest::Method::Put );
    request.setInputPath( utf8string( file ) );
    if ( progress )
        request.setUploadProgressCallback( std::move( progress ) );
    return request;
}

WebRequest downloadWithPresignedUrl(
    const std::string& url, const std::filesystem::path& file, ProgressCallback progress )
{
    auto request = transfer( url );
    request.setMethod( WebRequest::Method::Get );
    request.setOutputPath( utf8string( file ) );
    if ( progress )
        request.setDownloadProgressCallback( std::move( progress ) );
    return request;
}

tl::expected<void, std::string> parseResponse( const Json::Value& response )
{
    const int code = response["code"].asInt();
    if ( code == 0 )
        return tl::unexpected( std::string( "Connection error" ) );
    if ( code < 400 )
        return {};
    return tl::unexpected( response["error"].asString() );
}

} // namespace VX::S3
