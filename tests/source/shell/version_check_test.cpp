#include <VXOrvanta/shell/ArchitectureCheck.h>
#include <VXOrvanta/shell/VersionCheck.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

Json::Value answer( const std::string& text, int code = 200 )
{
    Json::Value out;
    out["code"] = code;
    out["text"] = text;
    return out;
}

std::string shown( const std::string& running, const std::string& newest )
{
    return newerVersion( running, answer( newest ) ).value_or( "" );
}

} // namespace

TEST( VersionCheck, TellsOfANewerRelease )
{
    EXPECT_EQ( shown( "1.2.3.4", "1.2.3.5" ), "1.2.3.5" );
    EXPECT_EQ( shown( "1.2.3.4", "1.2.3.4" ), "" );
    EXPECT_EQ( shown( "1.2.3.4", "1.2.2.9" ), "" );
    EXPECT_EQ( shown( "1.2.3.4", "2.0.0.0" ), "2.0.0.0" );
}

TEST( VersionCheck, ComparesNumbersNotText )
{
    EXPECT_EQ( shown( "1.9.9.9", "1.10.0.0" ), "1.10.0.0" );
    EXPECT_EQ( shown( "1.10.0.0", "1.9.9.9" ), "" );
}

TEST( VersionCheck, LeavesVersionsThatAreNoneAlone )
{
    for ( const char* newest : { "", ".", "1.2.3", "1.2", "9", "D9.9.9.9", "D", "nonsense", "1.2." } )
        EXPECT_EQ( shown( "1.2.3.4", newest ), "" ) << newest;
    EXPECT_EQ( shown( "1.2.3.4", "..." ), "" ) << "four empty parts are zeros";
    EXPECT_EQ( shown( "D1.2.3.4", "9.9.9.9" ), "" );
    EXPECT_EQ( shown( "", "9.9.9.9" ), "" );
}

TEST( VersionCheck, ShowsTheNormalForm )
{
    EXPECT_EQ( shown( "1.2.2.9", "1.2.3." ), "1.2.3.0" );
    EXPECT_EQ( shown( "1.2.3.4", "2.0.0.1-beta" ), "2.0.0.1" );
    EXPECT_EQ( shown( "1.2.3.4", "2.0.0.1.77" ), "2.0.0.1" );
    EXPECT_EQ( shown( "1.2.3.4", " +2. 0.x.1\n" ), "2.0.0.1" );
    EXPECT_EQ( shown( "1.2.3.4", "2.-1.0.1" ), "2.-1.0.1" );
}

TEST( VersionCheck, ReadsAllFourNumbers )
{
    const VXVersionParsed version( "2.4.1.77" );
    EXPECT_TRUE( version.valid );
    EXPECT_EQ( version.toString(), "2.4.1.77" );
    const VXVersionParsed none( "2.4" );
    EXPECT_FALSE( none.valid );
    EXPECT_EQ( none.major, 2 );
    EXPECT_EQ( none.minor, -1 );
    const VXVersionParsed fresh( "D" );
    EXPECT_EQ( fresh.major, -1 );
}

TEST( VersionCheck, IgnoresAnswersOfEveryOtherForm )
{
    EXPECT_FALSE( newerVersion( "1.2.3.4", answer( "9.9.9.9", 404 ) ) );
    EXPECT_FALSE( newerVersion( "1.2.3.4", answer( "9.9.9.9", 0 ) ) );
    auto wrong = answer( "9.9.9.9" );
    wrong["code"] = "200";
    EXPECT_FALSE( newerVersion( "1.2.3.4", wrong ) );
    wrong = answer( "9.9.9.9" );
    wrong["text"] = 9;
    EXPECT_FALSE( newerVersion( "1.2.3.4", wrong ) );
    for ( const auto& value :
        { Json::Value(), Json::Value( 5 ), Json::Value( "9.9.9.9" ), Json::Value( Json::arrayValue ) } )
        EXPECT_FALSE( newerVersion( "1.2.3.4", value ) );
}

TEST( ArchitectureCheck, WarnsTheIntelBuildOnAppleSiliconOnly )
{
    const auto notice = architectureNotice( "apple_x86_64", "apple m2" );
    ASSERT_TRUE( notice );
    EXPECT_EQ( notice->header, "Architecture Inconsistence" );
    EXPECT_EQ( notice->text,
        "This version of Orvanta is for Intel x86 architecture CPUs. Please download the version of "
        "Orvanta for Apple Silicon for the best performance." );
    EXPECT_EQ( notice->buttonName, "Download" );
    EXPECT_EQ( int( notice->type ), 1 );
    EXPECT_EQ( notice->lifeTimeSec, 10.0f );
    EXPECT_EQ( notice->tags, 15u );
    EXPECT_TRUE( notice->onButtonClick );
    EXPECT_FALSE( architectureNotice( "apple_arm64", "apple m2" ) );
    EXPECT_FALSE( architectureNotice( "apple_x86_64", "intel core i7" ) );
    EXPECT_FALSE( architectureNotice( "apple_x86_64 ", "apple m2" ) );
    EXPECT_FALSE( architectureNotice( "linux_x86_64", "apple m2" ) );
}
