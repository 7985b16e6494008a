#include "ui/account/SignInFixture.h"

#include <VXOrvanta/account/AuthWindow.h>

#include <gtest/gtest.h>

using namespace VX;
using Access = AuthWindowTestAccess;

namespace
{

/// What the program was like in some moment of a sign-in or a sign-out.
struct Moment
{
    AuthState state = AuthState::Loading;
    std::string token, email, message, stored;
    bool inputAllowed = false;
};

/// Who hears of a sign-in or a sign-out while it is being processed finds what belongs to that moment.
class SignInOrder : public Testing::SignInFixture
{
protected:
    [[nodiscard]] Moment now()
    {
        return { state(), UserInfo::getAccessToken(), UserInfo::getEmail(), message(), stored()["token"].asString(),
            menu_->isInputAllowed() };
    }
    /// Looks around when a request of that name is sent.
    void lookAt( const std::string& logName )
    {
        setWebTransport( std::make_shared<ScriptedTransport>(
            [this, logName]( const WebRequestData& request ) -> std::optional<Json::Value>
            {
                if ( request.logName == logName )
                    moments_.push_back( now() );
                return {};
            } ) );
    }
    void signIn()
    {
        signInByForm();
        answer( 200, signedInAnswer( "fresh" )["text"].asString() );
    }
    void SetUp() override
    {
        SignInFixture::SetUp();
        UserInfo::setAccessToken( {} );
        UserInfo::setEmail( {} );
        SessionLogsTestAccess::reset();
    }
    void TearDown() override
    {
        SignInFixture::TearDown();
        SessionLogsTestAccess::reset();
    }
    std::vector<Moment> moments_;
};

} // namespace

TEST_F( SignInOrder, EverythingStandsWhenTheSessionOfTheStatisticsIsOpened )
{
    signInByForm();
    const auto form = transport_;
    lookAt( "requestSessionId" );
    ASSERT_TRUE( form->deliver( signedInAnswer( "fresh" ) ) );
    settle();
    ASSERT_EQ( moments_.size(), 1u );
    EXPECT_EQ( moments_[0].state, AuthState::Authed );
    EXPECT_TRUE( moments_[0].inputAllowed );
    EXPECT_EQ( moments_[0].token, "access" ) << "before the address, which opens the session";
    EXPECT_EQ( moments_[0].email, "" );
    EXPECT_EQ( moments_[0].stored, "fresh" );
}

TEST_F( SignInOrder, SignOutIsToldWhileTheUserIsStillThere )
{
    signIn();
    Access::message( auth() ) = "still there";
    const boost::signals2::scoped_connection connection =
        auth().signOutSignal.connect( [this] { moments_.push_back( now() ); } );
    menu_->signOut();
    ASSERT_EQ( moments_.size(), 1u );
    EXPECT_EQ( moments_[0].state, AuthState::Authed );
    EXPECT_EQ( moments_[0].token, "access" );
    EXPECT_EQ( moments_[0].email, "Ann@example.org" );
    EXPECT_EQ( moments_[0].message, "still there" );
    EXPECT_EQ( moments_[0].stored, "" ) << "the stored sign-in goes first of all";
}

TEST_F( SignInOrder, LastActionsAreSentWithTheAddressButWithoutTheToken )
{
    signIn();
    SessionLogsTestAccess::setSessionId( 7 );
    lookAt( "logAction" );
    menu_->signOut();
    ASSERT_EQ( moments_.size(), 1u );
    EXPECT_EQ( moments_[0].state, AuthState::SignIn );
    EXPECT_EQ( moments_[0].message, "" );
    EXPECT_EQ( moments_[0].token, "" );
    EXPECT_EQ( moments_[0].email, "Ann@example.org" );
    EXPECT_EQ( UserInfo::getEmail(), "" );
}

TEST_F( SignInOrder, AnAnswerAfterTheEndOfTheMenuFindsNobody )
{
    signInByForm();
    ASSERT_EQ( sent().size(), 1u );
    menu_->shutdown();
    ASSERT_TRUE( transport_->deliver( signedInAnswer( "late" ) ) );
    settle();
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
    EXPECT_EQ( UserInfo::getEmail(), "" );
    EXPECT_NE( stored()["token"], "late" );
}

TEST_F( SignInOrder, NorDoesAnAnswerToAnotherRequest )
{
    fill( Access::email( auth() ), "ann@example.org" );
    show( AuthState::Forgot );
    enter();
    ASSERT_EQ( sent().size(), 1u );
    menu_->shutdown();
    ASSERT_TRUE( transport_->deliver( ScriptedTransport::response( 400, R"({"message":"User does not exist."})" ) ) );
    settle();
    EXPECT_FALSE( log_.contains( "User does not exist." ) ) << log_.text();
}

TEST_F( SignInOrder, ACodeAndANewPasswordServeOneVisitToTheirForm )
{
    fill( Access::email( auth() ), "ann@example.org" );
    for ( int visit = 0; visit < 2; ++visit )
    {
        show( AuthState::Forgot );
        enter();
        answer( 200, R"({"CodeDeliveryDetails":{"Destination":"a***@e***"}})" );
        ASSERT_EQ( state(), AuthState::ConfirmForgot );
        EXPECT_EQ( Access::codeDestination( auth() ), "a***@e***" );
        EXPECT_EQ( Access::code( auth() ), "" );
        EXPECT_EQ( Access::newPassword( auth() ), "" );
        type( "123456" );
        press( GLFW_KEY_TAB );
        type( "long-enough-2" );
        EXPECT_EQ( Access::code( auth() ), "123456" );
        EXPECT_EQ( Access::newPassword( auth() ), "long-enough-2" );
        Access::codeDestination( auth() ).clear();
    }
}

TEST_F( SignInOrder, WhatIsSaidOfOneFormIsNotSaidInAnother )
{
    show( AuthState::SignIn );
    enter();
    EXPECT_EQ( message(), "Please enter valid email" );
    clickAt( 380, 162 );
    ASSERT_EQ( state(), AuthState::Forgot );
    EXPECT_EQ( message(), "" );
}

TEST_F( SignInOrder, AMessageGoesWhenTheNextRequestIsSent )
{
    signInByForm();
    refuse( "Incorrect username or password." );
    EXPECT_NE( message(), "" );
    signInByForm();
    ASSERT_EQ( sent().size(), 2u );
    EXPECT_EQ( message(), "" );
    refuse( "Again." );
    show( AuthState::SignUp );
    Access::message( auth() ) = "Of before";
    fill( Access::password( auth() ), "long-enough-1" );
    enter();
    ASSERT_EQ( sent().size(), 3u );
    EXPECT_EQ( message(), "" );
}
