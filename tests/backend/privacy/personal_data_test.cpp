#include "support/service/IdentityFixture.h"

#include "identity/Passwords.h"
#include "identity/RefusalLog.h"
#include "identity/gateway/GatewayNames.h"
#include "privacy/PersonalData.h"
#include "statistics/ReportReader.h"
#include "statistics/StatsApi.h"
#include "storage/ObjectFiles.h"

#include <VXMesh/io/Json.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr const char* cBob = "bob@example.org";

/// A folder of data in which two people have left all that people leave.
class PersonalData : public Testing::Identity
{
protected:
    PersonalData()
    {
        leaveTraces( Testing::cAnn );
        leaveTraces( cBob );
    }
    [[nodiscard]] std::filesystem::path data() const { return folder_.path(); }

    void leaveTraces( const std::string& email )
    {
        const auto account = accounts_.add( email, hashPassword( Testing::cPassword ), true ).value();
        EXPECT_EQ( problem( signIn( Testing::cPassword, email ) ), "" );
        EXPECT_NE( problem( signIn( "wrong-word-1", email ) ), "" );
        EXPECT_EQ( problem( call( "ForgotPassword", object( { { "Username", email } } ) ) ), "" );
        EXPECT_NE(
            problem( call( "ConfirmForgotPassword", object( { { "Username", email }, { "Password", "other-word-2" },
                                                        { "ConfirmationCode", wrong( mailedCode() ) } } ) ) ),
            "" );
        leaveFiles( email, jobs_.create( "step", account->id ).value().value() );
        leaveStatistics( email );
        leaveElsewhere( email );
    }
    /// What is known of an account at another service, by which sign-ins went for a while.
    void leaveElsewhere( const std::string& email )
    {
        const auto name = nameElsewhere( email );
        GatewayNames names( *database_, clock_ );
        EXPECT_TRUE( names.rememberPerson( email, name ) && names.remember( "token of " + name, name ) );
        leaveFiles( email, jobs_.create( "stp", name ).value().value() );
    }
    static std::string nameElsewhere( const std::string& email ) { return "elsewhere-" + email.substr( 0, 3 ); }
    void leaveFiles( const std::string& email, const ConversionJob& job )
    {
        EXPECT_TRUE( database_->execute( "UPDATE conversions SET attempts = 1 WHERE id = ?", { job.id } ) );
        for ( const auto& key : { job.uploadKey(), job.resultKey( 0 ), job.resultKey( 1 ) } )
        {
            const auto file = objectFile( data() / "objects", key );
            std::filesystem::create_directories( file.parent_path() );
            std::ofstream( file ) << email;
        }
        std::filesystem::create_directories( data() / "outbox" );
        std::ofstream( data() / "outbox" / ( "1" + email.substr( 0, 1 ) + ".eml" ) )
            << "From: x\r\nTo: <" << email << ">\r\n\r\ncode";
    }
    void leaveStatistics( const std::string& email )
    {
        StatsApi stats( statsStore_, StatsOptions{ .userKey = keys_.codes } );
        HttpRequest request;
        request.method = "POST";
        request.body = R"({"type":"createSession","email":")" + email + "\"}";
        std::promise<HttpResponse> answered;
        stats.handle( request, [&]( HttpResponse response ) { answered.set_value( std::move( response ) ); } );
        const auto session = deserializeJsonValue( answered.get_future().get().body ).value()["sessionId"].asInt64();
        EXPECT_TRUE( statistics_->execute(
            fmt::format( "INSERT INTO stats_actions VALUES({}, 'Open', 5, {})", session, now_.load() ) ) );
    }
    [[nodiscard]] std::string idOf( const std::string& email ) { return accounts_.find( email ).value()->id; }
    /// All bytes of all files.
    [[nodiscard]] std::string everything() const
    {
        std::string out;
        for ( const auto& entry : std::filesystem::recursive_directory_iterator( data() ) )
            if ( entry.is_regular_file() && entry.path().filename() != "identity-keys.json" )
                out += Testing::readFile( entry.path() );
        return out;
    }
    [[nodiscard]] int64_t statisticsIn( const std::string& table )
    {
        return integerOf( statistics_->query( "SELECT count(*) FROM " + table ).value()[0][0] );
    }

    ConversionJobs jobs_{ *database_, clock_ };
    std::unique_ptr<Database> statistics_ = Database::open( data() / "statistics.db" ).value();
    StatsStore statsStore_{ *statistics_, clock_ };
};

} // namespace

TEST_F( PersonalData, AreTheWholeOfWhatIsKept )
{
    const auto known = personalData( { data(), {} }, "ANN@example.org" ).value();
    EXPECT_EQ( known.getMemberNames(),
        ( Json::Value::Members{ "account", "accountsElsewhere", "codeGuesses", "codes", "conversions", "failedSignIns",
            "limits", "mails", "nameInLogs", "signIns", "signInsElsewhere", "statistics" } ) );
    EXPECT_EQ( known["account"][0]["email"], Testing::cAnn );
    EXPECT_EQ( known["account"][0]["id"], idOf( Testing::cAnn ) );
    EXPECT_EQ( known["account"][0]["confirmed"], 1 );
    EXPECT_EQ( known["signIns"].size(), 1u );
    EXPECT_EQ( known["codes"][0]["purpose"], "reset" );
    EXPECT_EQ( known["failedSignIns"][0]["address"], "here" );
    EXPECT_EQ( known["mails"][0]["subject"], "Reset your Orvanta password" );
    EXPECT_EQ( known["limits"].size(), 1u );
    ASSERT_EQ( known["conversions"].size(), 2u );
    EXPECT_EQ( known["conversions"][0]["format"], "step" );
    EXPECT_EQ( known["conversions"][1]["format"], "stp" );
    EXPECT_EQ( known["codeGuesses"][0]["wrong"], 1 );
    EXPECT_EQ( known["accountsElsewhere"][0]["name"], nameElsewhere( Testing::cAnn ) );
    EXPECT_EQ( known["signInsElsewhere"][0]["name"], nameElsewhere( Testing::cAnn ) );
    EXPECT_EQ( known["nameInLogs"], nameInLog( Testing::cAnn, keys_.codes ) );
    EXPECT_EQ( known["statistics"]["sessionsOfKeysThatAreGone"], 0 );
    EXPECT_EQ( known["statistics"]["sessions"].size(), 1u );
    EXPECT_EQ( known["statistics"]["actions"][0]["name"], "Open" );
    const auto text = known.toStyledString();
    EXPECT_EQ( text.find( idOf( cBob ) ), std::string::npos );
    EXPECT_EQ( text.find( "argon" ), std::string::npos ) << "no secrets";
}

TEST_F( PersonalData, OfSomebodyUnknownAreEmptyLists )
{
    const auto known = personalData( { data(), {} }, "eve@example.org" ).value();
    EXPECT_EQ( known["account"].size() + known["conversions"].size() + known["statistics"]["sessions"].size(), 0u );
    EXPECT_EQ( personalData( { data(), {} }, "nobody" ).error(), "\"nobody\" is no e-mail address" );
    EXPECT_EQ( personalData( { data() / "x", {} }, cBob ).error(),
        "There is no database in \"" + ( data() / "x" ).string() + "\"" );
}

TEST_F( PersonalData, AreNowhereOnceTheyAreErased )
{
    const auto ann = idOf( Testing::cAnn ), bob = idOf( cBob );
    const auto code = codeOfUser( Testing::cAnn, keys_.codes );
    const auto before = everything();
    for ( const auto& trace : { std::string( Testing::cAnn ), ann, code, nameElsewhere( Testing::cAnn ) } )
        ASSERT_NE( before.find( trace ), std::string::npos ) << trace;
    ASSERT_TRUE( erasePersonalData( { data(), {} }, Testing::cAnn ) );
    const auto after = everything();
    for ( const auto& trace : { std::string( Testing::cAnn ), ann, code, nameElsewhere( Testing::cAnn ) } )
        EXPECT_EQ( after.find( trace ), std::string::npos ) << trace;
    EXPECT_NE( after.find( bob ), std::string::npos ) << "others stay";
    EXPECT_EQ( problem( signIn( Testing::cPassword, cBob ) ), "" );
    EXPECT_EQ( problem( signIn() ), "NotAuthorizedException: Incorrect username or password." );
    EXPECT_EQ( statisticsIn( "stats_sessions" ), 1 );
    EXPECT_EQ( statisticsIn( "stats_actions" ), 1 );
    EXPECT_EQ( personalData( { data(), {} }, cBob ).value()["conversions"].size(), 2u );
}

TEST_F( PersonalData, OfStatisticsWhoseKeyIsGoneItIsSaidThatTheyCannotBeFound )
{
    EXPECT_EQ( erasePersonalData( { data(), {} }, "eve@example.org" ).value().nobodysSessions, 0 );
    std::filesystem::remove( identityKeysFile( data() ) );
    keys_ = ensureIdentityKeys( data() ).value();
    const auto known = personalData( { data(), {} }, Testing::cAnn ).value()["statistics"];
    EXPECT_EQ( known["sessions"].size(), 0u );
    EXPECT_EQ( known["sessionsOfKeysThatAreGone"], 2 );
    leaveStatistics( Testing::cAnn );
    EXPECT_EQ( erasePersonalData( { data(), {} }, Testing::cAnn ).value().nobodysSessions, 2 );
    EXPECT_EQ( statisticsIn( "stats_sessions" ), 2 ) << "the new one is found";
}

TEST_F( PersonalData, StatisticsOfAnOlderVersionAreOfTheKeyThereIs )
{
    ASSERT_TRUE( statistics_->execute( "UPDATE stats_sessions SET code_key = ''" ) );
    EXPECT_EQ( personalData( { data(), {} }, cBob ).value()["statistics"]["sessionsOfKeysThatAreGone"], 0 );
    leaveStatistics( Testing::cAnn ); // by a service of this version
    std::filesystem::remove( identityKeysFile( data() ) );
    EXPECT_EQ( personalData( { data(), {} }, cBob ).value()["statistics"]["sessionsOfKeysThatAreGone"], 3 );
}
