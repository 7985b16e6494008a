#include "support/ScratchFolder.h"
#include "support/service/OpenDatabase.h"

#include "clock/SystemTime.h"
#include "mail/MailCommands.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

class MailCommands : public testing::Test
{
protected:
    struct Row
    {
        int64_t due = 0, expires = 0, attempts = 0;
        SqlValue sent = nullptr, error = nullptr;
    };
    void add( const std::string& recipient, const Row& row )
    {
        EXPECT_TRUE( database_->execute(
            "INSERT INTO mails(recipient, subject, text, due, expires, attempts, sent, error) VALUES(?, 'Hello', "
            "'secret', ?, ?, ?, ?, ?)",
            { recipient, row.due, row.expires, row.attempts, row.sent, row.error } ) );
    }
    struct Said
    {
        int status = 0;
        std::string out, error;
    };
    Said run( MailCommand::Action action, std::optional<int64_t> number = {} )
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Said said;
        said.status = runMailCommand( { { data_, {} }, action, number } );
        said.out = testing::internal::GetCapturedStdout();
        said.error = testing::internal::GetCapturedStderr();
        return said;
    }
    [[nodiscard]] int64_t dueOf( const std::string& recipient )
    {
        return integerOf(
            database_->query( "SELECT due FROM mails WHERE recipient = ?", { recipient } ).value()[0][0] );
    }

    using Action = MailCommand::Action;
    Testing::ScratchFolder folder_;
    std::filesystem::path data_ = folder_.path();
    std::unique_ptr<Database> database_ = Testing::openDatabase( data_ / "orvanta.db" );
    // 2001-09-09 01:46 and 2096-10-02 07:06
    static constexpr int64_t cPast = 1'000'000'000, cFuture = 4'000'000'000;
};

} // namespace

TEST_F( MailCommands, TellsWhatHasBecomeOfEach )
{
    add( "sent@b.c", { cPast, cFuture, 1, int64_t( cPast ), nullptr } );
    add( "due@b.c", { cPast, cFuture } );
    add( "later@b.c", { cFuture, cFuture, 2, nullptr, std::string( "no\nroute" ) } );
    add( "late@b.c", { cPast, cPast, 3, nullptr, std::string( "full" ) } );
    const auto said = run( Action::List );
    EXPECT_EQ( said.status, 0 );
    EXPECT_EQ( said.out,
        "     1 sent@b.c                             Hello                          sent 2001-09-09 01:46\n"
        "     2 due@b.c                              Hello                          due\n"
        "     3 later@b.c                            Hello                          next try 2096-10-02 07:06, failed "
        "2 "
        "times: noroute\n"
        "     4 late@b.c                             Hello                          given up, failed 3 times: full\n" );
}

TEST_F( MailCommands, WhatWaitsIsTriedAgainNow )
{
    add( "sent@b.c", { cPast, cFuture, 1, int64_t( cPast ), nullptr } );
    add( "later@b.c", { cFuture, cFuture, 2 } );
    add( "other@b.c", { cFuture, cFuture, 2 } );
    add( "late@b.c", { cPast, cPast, 3 } );
    EXPECT_EQ( run( Action::Retry, 2 ).out, "1 mail is tried again by the running service, or the next one\n" );
    EXPECT_LE( dueOf( "later@b.c" ), systemTime().time_since_epoch().count() );
    EXPECT_EQ( dueOf( "other@b.c" ), cFuture );
    for ( const int64_t number : { 1, 4, 99 } )
    {
        const auto said = run( Action::Retry, number );
        EXPECT_EQ( said.status, 1 );
        EXPECT_EQ( said.error, "No mail of the number " + std::to_string( number ) + " waits\n" );
    }
    EXPECT_EQ( run( Action::Retry ).out, "2 mails are tried again by the running service, or the next one\n" );
    EXPECT_LE( dueOf( "other@b.c" ), systemTime().time_since_epoch().count() );
    EXPECT_EQ( dueOf( "late@b.c" ), cPast );
}

TEST_F( MailCommands, NothingIsMadeWhereThereIsNoDatabase )
{
    data_ = folder_.path() / "nothing";
    const auto said = run( Action::List );
    EXPECT_EQ( said.status, 1 );
    EXPECT_EQ( said.error, "There is no database in \"" + data_.string() + "\"\n" );
    EXPECT_FALSE( std::filesystem::exists( data_ ) );
}
