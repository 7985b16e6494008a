#pragma once

#include "support/LogCapture.h"
#include "support/service/IdentityRequests.h"
#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/UserInfo.h>

#include <GLFW/glfw3.h>
#include <imgui_internal.h>

namespace VX::Testing
{

/// The program while nobody is signed in: its requests to the identity service are answered by hand.
class SignInFixture : public UiFixture
{
protected:
    [[nodiscard]] bool isSignedIn() const override { return false; }
    std::optional<Json::Value> answerAtStart( const WebRequestData& request ) override
    {
        if ( request.url != Cognito::cAuthUrl )
            return {};
        atStart_.push_back( request );
        return startAnswer_;
    }
    void TearDown() override
    {
        UserInfo::setAccessToken( {} );
        UiFixture::TearDown();
    }

    void store( const std::string& token ) { folder_.write( "Orvanta/Token/.token", token ); }
    void storeToken() { store( R"({"login":"ann@example.org","token":"kept","endpoint":"end"})" ); }
    [[nodiscard]] Json::Value stored() const
    {
        return deserializeJsonValue( folder_.path() / "Orvanta/Token/.token" ).value_or( Json::Value() );
    }
    [[nodiscard]] AuthWindow& auth() { return OrvantaMenuTestAccess::authWindow( *menu_ ); }
    [[nodiscard]] AuthState state() { return AuthWindowTestAccess::state( auth() ); }
    [[nodiscard]] std::string message() { return AuthWindowTestAccess::message( auth() ); }
    void show( AuthState state )
    {
        AuthWindowTestAccess::state( auth() ) = state;
        AuthWindowTestAccess::message( auth() ).clear();
        viewer().incrementForceRedrawFrames( 4 );
        settle();
    }
    /// Requests to the identity service since the program has started.
    [[nodiscard]] std::vector<WebRequestData> sent() const { return identityRequests( *transport_ ); }
    [[nodiscard]] Json::Value lastBody() const { return bodyOfLast( sent() ); }
    void answer( int code, const std::string& text, const std::string& error = {} )
    {
        ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( code, text, error ) ) );
        settle();
    }
    void refuse( const std::string& text ) { answer( 400, R"({"__type":"X","message":")" + text + "\"}" ); }
    /// Frames never end while the spinner turns, so nothing is waited for.
    void enter()
    {
        window().pressKey( GLFW_KEY_ENTER, true );
        drawFrames( 3 );
        window().pressKey( GLFW_KEY_ENTER, false );
        drawFrames( 3 );
    }
    /// Fills a field in, whether it has the keyboard or not.
    void fill( std::string& field, const std::string& text )
    {
        field = text;
        drawFrames( 2 );
    }
    /// A place in the sign-in, from its upper left corner.
    void clickAt( float x, float y )
    {
        clickWhileBusy( windowPointFromTop( "Auth window", x, y ) );
        drawFrames( 8 );
    }
    void signInByForm( const std::string& password = "secret-1" )
    {
        fill( AuthWindowTestAccess::email( auth() ), "Ann@example.org" );
        fill( AuthWindowTestAccess::password( auth() ), password );
        enter();
    }

    std::vector<WebRequestData> atStart_;
    std::optional<Json::Value> startAnswer_;
    LogCapture log_;
};

/// The operation that a request asks for.
inline std::string target( const WebRequestData& request )
{
    return request.headers.at( "x-amz-target" );
}

} // namespace VX::Testing
