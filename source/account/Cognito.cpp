#include <VXOrvanta/account/Cognito.h>

#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/ClientMetadata.h>
#include <VXOrvanta/telemetry/ProductVersion.h>
#include <VXViewer/core/SystemInfoJson.h>
#include <VXViewer/web/WebRequest.h>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <cctype>

namespace VX
{
namespace
{

void addMetaData( Json::Value& body, const std::string& email )
{
    body["AnalyticsMetadata"]["AnalyticsEndpointId"] = Cognito::getEndpoint( email );
    body["ClientMetadata"] = clientMetadata( GetSystemInfoJson() );
}

void post( const char* operation, const Json::Value& body, const char* logName, Cognito::Callback callback )
{
    WebRequest request;
    request.setMethod( WebRequest::Method::Post );
    request.setHeaders( { { "x-amz-target", std::string( "AWSCognitoIdentityProviderService." ) + operation } } );
    request.setBody( body.toStyledString() );
    request.send( Cognito::cAuthUrl, logName, std::move( callback ), true );
}

} // namespace

const std::string Cognito::cAuthUrl = std::string( ORVANTA_AUTH_URL ) + "/auth";

void Cognito::signInEmail( const std::string& email, const std::string& password, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["AuthFlow"] = "USER_PASSWORD_AUTH";
    body["AuthParameters"]["USERNAME"] = email;
    body["AuthParameters"]["PASSWORD"] = password;
    addMetaData( body, email );
    post( "InitiateAuth", body, "signInEmail", std::move( callback ) );
}

void Cognito::signInToken( const std::string& refreshToken, const std::string& endpointId, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["AuthFlow"] = "REFRESH_TOKEN_AUTH";
    body["AuthParameters"]["REFRESH_TOKEN"] = refreshToken;
    addMetaData( body, {} );
    body["AnalyticsMetadata"]["AnalyticsEndpointId"] = endpointId;
    post( "InitiateAuth", body, "signInToken", std::move( callback ) );
}

void Cognito::signUp( const std::string& email, const std::string& password, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["Username"] = email;
    body["Password"] = password;
    addMetaData( body, email );
    post( "SignUp", body, "signUp", std::move( callback ) );
}

void Cognito::confirmSignUp( const std::string& email, const std::string& code, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["Username"] = email;
    body["ConfirmationCode"] = code;
    addMetaData( body, email );
    post( "ConfirmSignUp", body, "confirmSignUp", std::move( callback ) );
}

void Cognito::forget( const std::string& email, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["Username"] = email;
    addMetaData( body, email );
    post( "ForgotPassword", body, "forget", std::move( callback ) );
}

void Cognito::confirmForget(
    const std::string& email, const std::string& newPassword, const std::string& code, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["Username"] = email;
    body["Password"] = newPassword;
    body["ConfirmationCode"] = code;
    addMetaData( body, email );
    post( "ConfirmForgotPassword", body, "confirmForget", std::move( callback ) );
}

void Cognito::resendConfirmationCode( const std::string& email, Callback callback )
{
    Json::Value body( Json::objectValue );
    body["Username"] = email;
    addMetaData( body, email );
    post( "ResendConfirmationCode", body, "resendConfirmationCode", std::move( callback ) );
}

std::string Cognito::getEndpoint( const std::string& email )
{
    auto name = email;
    std::transform(
        name.begin(), name.end(), name.begin(), []( unsigned char c ) { return char( std::tolower( c ) ); } );
    return boost::uuids::to_string( boost::uuids::name_generator_sha1( boost::uuids::ns::dns() )( name ) );
}

std::string Cognito::versionNoSpaces()
{
    return productVersion();
}

} // namespace VX
