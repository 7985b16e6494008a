#include "ui/SignInFixture.h"

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
