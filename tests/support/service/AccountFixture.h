#pragma once

#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/service/IdentityRequests.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace VX::Testing
{

/// A user's folder and an identity service that the test answers for; there is neither a window nor a frame.
class AccountFixture : public testing::Test
{
protected:
    AccountFixture()
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setUserConfigName( "Orvanta" );
        (void)getUserConfigDir();
        CommandLoop::open();
        setWebTransport( transport_ );
    }
    ~AccountFixture() override
    {
        UserInfo::setAccessToken( {} );
        UserInfo::setEmail( {} );
        run();
        setWebTransport( nullptr );
    }

    static void run()
    {
        while ( !CommandLoop::isEmpty() )
            CommandLoop::processCommands();
    }
    /// Requests to the identity service.
    [[nodiscard]] std::vector<WebRequestData> sent() const { return identityRequests( *transport_ ); }
    [[nodiscard]] std::string lastName() const { return sent().empty() ? std::string() : sent().back().logName; }
    [[nodiscard]] Json::Value lastBody() const { return bodyOfLast( sent() ); }
    void answer( int code, const std::string& text, const std::string& error = {} )
    {
        ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( code, text, error ) ) );
        run();
    }
    [[nodiscard]] std::string credentialsFile( const std::string& text )
    {
        return folder_.write( "creds-" + std::to_string( files_++ ), text ).string();
    }
    [[nodiscard]] static std::string stored()
    {
        const auto token = loadAuthToken();
        return token.login + "|" + token.token + "|" + token.endpoint;
    }

    /// Told of each request to another service, whose answers say that the network is bad.
    std::function<void( const WebRequestData& request )> onOther_;
    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>(
        [this]( const WebRequestData& request ) -> std::optional<Json::Value>
        {
            if ( request.url == Cognito::cAuthUrl )
                return {};
            if ( onOther_ )
                onOther_( request );
            return ScriptedTransport::response( 0, "" );
        } );
    LogCapture log_;
    ScratchFolder folder_;
    int files_ = 0;
};

} // namespace VX::Testing
