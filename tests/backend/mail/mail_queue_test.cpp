#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/service/IdentityFixture.h"

#include <condition_variable>
#include <thread>

using namespace VX;
using namespace VX::Testing;

namespace
{

const Mail cMail{ cAnn, "Confirm your Orvanta account", "Your code is 123456" };
constexpr std::chrono::seconds cLife = std::chrono::hours( 1 );

/// A mail server that can be out of order, and tells how often it was asked.
class UnsteadyMailer final : public Mailer
{
public:
    tl::expected<void, std::string> send( const Mail& mail ) override
    {
        const std::lock_guard lock( mutex_ );
        ++asked_;
        changed_.notify_all();
        if ( isBroken )
            return tl::unexpected( std::string( "The mail server refuses: no" ) );
        mails.push_back( mail );
        return {};
    }
    void waitUntilAsked( int times )
    {
        std::unique_lock lock( mutex_ );
        changed_.wait( lock, [&] { return asked_ >= times; } );
    }
    std::atomic<bool> isBroken{ false };
    std::vector<Mail> mails;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int asked_ = 0;
};

class MailQueueTest : public testing::Test
{
protected:
    std::unique_ptr<MailQueue> queue( Delivery delivery )
    {
        return std::make_unique<MailQueue>( *database_, mailer_, delivery,
            [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_.load() ) ); } );
    }
    int64_t number( const std::string& sql ) { return integerOf( database_->query( sql ).value().at( 0 ).at( 0 ) ); }

    ScratchFolder folder_;
    std::atomic<int64_t> now_{ 1'700'000'000 };
    std::unique_ptr<Database> database_ = openDatabase( folder_.path() / "db" );
    UnsteadyMailer mailer_;
};

/// A mail server that says nothing until it is allowed to.
class SilentMailer final : public Mailer
{
public:
    tl::expected<void, std::string> send( const Mail& ) override
    {
        asked.set_value();
        mayGoOn.get_future().wait();
        return {};
    }
    std::promise<void> asked, mayGoOn;
};

} // namespace

TEST_F( MailQueueTest, AMailIsSentBeforeItsCallIsAnswered )
{
    const auto mails = queue( Delivery::AtOnce );
    ASSERT_TRUE( mails->deliver( mails->add( cMail, cLife ).value() ) );
    ASSERT_EQ( mailer_.mails.size(), 1u );
    EXPECT_EQ( mailer_.mails[0].text, cMail.text );
}

TEST_F( MailQueueTest, AMailOfATransactionThatIsTakenBackIsNotSent )
{
    const auto mails = queue( Delivery::AtOnce );
    int64_t taken = 0;
    {
        const Database::Transaction transaction( *database_ );
        taken = mails->add( cMail, cLife ).value();
    }
    EXPECT_TRUE( mails->deliver( taken ) );
    EXPECT_TRUE( mailer_.mails.empty() );
}

TEST_F( MailQueueTest, WhatFailsIsTriedAgainAfterLongerAndLongerPauses )
{
    const LogCapture log;
    mailer_.isBroken = true;
    auto mails = queue( Delivery::Later );
    const auto number = mails->add( cMail, cLife ).value();
    ASSERT_TRUE( mails->deliver( number ) ) << "nobody waits for it";
    mailer_.waitUntilAsked( 1 );
    mails.reset(); // once it has noted the failure: two queues at once would both try
    EXPECT_EQ( log.text(), "error: A mail is tried again later: The mail server refuses: no\n" );
    mails = queue( Delivery::Later );
    const auto due = [&] { return this->number( "SELECT due FROM mails" ); };
    EXPECT_EQ( due(), now_ + 5 );
    now_ += 5;
    mails->wake();
    mailer_.waitUntilAsked( 2 );
    mails.reset();
    EXPECT_EQ( due(), now_ + 10 );
    EXPECT_EQ( this->number( "SELECT attempts FROM mails" ), 2 );
    mailer_.isBroken = false;
    now_ += 10;
    mails = queue( Delivery::Later );
    mailer_.waitUntilAsked( 3 );
    mails.reset();
    EXPECT_EQ( mailer_.mails.size(), 1u );
    EXPECT_EQ( this->number( "SELECT count(*) FROM mails WHERE sent IS NOT NULL" ), 1 );
    EXPECT_EQ( log.count( "\n" ), 2u ) << "of a mail that was sent nothing is said: " << log.text();
}

TEST_F( MailQueueTest, WhoIsToldOfAMailSendsItAtOnce )
{
    const auto mails = queue( Delivery::Later );
    const auto begin = std::chrono::steady_clock::now();
    for ( int i = 1; i <= 6; ++i )
    {
        ASSERT_TRUE( mails->deliver( mails->add( cMail, cLife ).value() ) );
        // Once that is noted the queue has nothing to do but to wait.
        for ( const Testing::Patience patience; number( "SELECT count(*) FROM mails WHERE sent IS NOT NULL" ) < i;
            patience.check() )
            std::this_thread::yield();
    }
    EXPECT_LT( std::chrono::steady_clock::now() - begin, std::chrono::seconds( 6 ) )
        << "one that is not told looks every two seconds";
}

TEST_F( MailQueueTest, ATableThatCannotBeReadIsLogged )
{
    std::promise<std::string> logged;
    std::atomic<bool> first = true;
    const LogCapture log(
        [&]( std::string_view text )
        {
            if ( first.exchange( false ) )
                logged.set_value( std::string( text ) );
        } );
    ASSERT_TRUE( database_->execute( "DROP TABLE mails" ) );
    const auto mails = queue( Delivery::Later );
    EXPECT_EQ( logged.get_future().get(), "Mails: " + noSuchTable( "mails" ) );
    EXPECT_EQ( queue( Delivery::AtOnce )->deliver( 1 ).error(), noSuchTable( "mails" ) );
}

TEST_F( MailQueueTest, TheNextProcessSendsWhatWasLeft )
{
    {
        const auto mails = queue( Delivery::AtOnce );
        ASSERT_TRUE( mails->add( cMail, cLife ) );
    }
    EXPECT_TRUE( mailer_.mails.empty() ) << "its caller has died";
    now_ += 60;
    const auto mails = queue( Delivery::AtOnce );
    mailer_.waitUntilAsked( 1 );
}

TEST_F( MailQueueTest, AMailThatIsNoUseAnyMoreIsNotSent )
{
    ASSERT_TRUE( queue( Delivery::AtOnce )->add( cMail, cLife ) );
    now_ += cLife.count();
    {
        const auto mails = queue( Delivery::Later );
        ASSERT_TRUE( mails->deliver( mails->add( { "bob@example.org", "x", "later" }, cLife ).value() ) );
        mailer_.waitUntilAsked( 1 );
    }
    ASSERT_EQ( mailer_.mails.size(), 1u );
    EXPECT_EQ( mailer_.mails[0].to, "bob@example.org" );
}

TEST_F( MailQueueTest, ASentMailLeavesNoTextAndGoesAfterADay )
{
    const auto mails = queue( Delivery::AtOnce );
    ASSERT_TRUE( mails->deliver( mails->add( cMail, cLife ).value() ) );
    EXPECT_EQ( number( "SELECT count(*) FROM mails WHERE text = ''" ), 1 );
    ASSERT_TRUE( mails->clean() );
    EXPECT_EQ( number( "SELECT count(*) FROM mails" ), 1 );
    now_ += 86400;
    ASSERT_TRUE( mails->clean() );
    EXPECT_EQ( number( "SELECT count(*) FROM mails" ), 0 );
}

TEST_F( Identity, NobodyWaitsForASilentMailServer )
{
    addAnn();
    SilentMailer silent;
    {
        MailQueue mails( *database_, silent, Delivery::Later, clock_ );
        EmbeddedIdentity identity( *database_, accounts_, tokens_, mails, options(), clock_ );
        const auto ask = [&]( const char* operation, const std::string& body )
        { return problem( identity.answer( { operation, deserializeJsonValue( body ).value(), "here" } ) ); };
        EXPECT_EQ( ask( "ForgotPassword", object( { { "Username", cAnn } } ) ), "" );
        silent.asked.get_future().wait();
        EXPECT_EQ( ask( "ForgotPassword", object( { { "Username", cAnn } } ) ), "" );
        EXPECT_EQ( ask( "SignUp", object( { { "Username", "bob@example.org" }, { "Password", cPassword } } ) ), "" );
        EXPECT_EQ( problem( signIn() ), "" );
        // What waits behind it is left: it would be asked twice.
        ASSERT_TRUE( database_->execute( "UPDATE mails SET due = due + 1000 WHERE id > 2" ) );
        silent.mayGoOn.set_value();
    }
}
