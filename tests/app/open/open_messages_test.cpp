#include <open/OpenMessages.h>

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::App;

TEST( OpenMessages, AFailureIsNamedOnce )
{
    EXPECT_EQ( failureText( { "/x/a.step", "\"a.step\" is empty" } ), "\"a.step\" is empty" );
    EXPECT_EQ( failureText( { "/x/a.step", "quota" } ), "Cannot open \"a.step\": quota" );
}

TEST( OpenMessages, AServiceThatDoesNotAnswerIsNamedOnceForAllFiles )
{
    const auto text = failuresText( { { "a.step", "Connection error" }, { "b.step", "Connection error" } }, 3 );
    EXPECT_TRUE( text.starts_with( "2 of 3 files cannot be opened\n\nCannot open \"a.step\": Connection error\n" ) );
    EXPECT_NE( text.find( ORVANTA_CONVERTER_URL ), std::string::npos );
    EXPECT_EQ( text.find( ORVANTA_CONVERTER_URL ), text.rfind( ORVANTA_CONVERTER_URL ) );
}

TEST( OpenMessages, OneFileThatWasLookedAtNeedsNoNote )
{
    EXPECT_EQ( openedNotice( { "a.stl" }, { "" }, 1, false ).header, "" );
    EXPECT_EQ( openedNotice( {}, {}, 3, true ).header, "" );
}

TEST( OpenMessages, ManyFilesAreCounted )
{
    EXPECT_EQ( openedNotice( { "a", "b" }, { "", "" }, 2, true ).header, "2 files are open" );
    EXPECT_EQ( openedNotice( { "a", "b" }, { "", "" }, 5, true ).header, "2 of 5 files are open" );
    EXPECT_EQ( openedNotice( { "a" }, { "" }, 5, true ).header, "1 of 5 files is open" );
}

TEST( OpenMessages, WarningsOfManyFilesStayOneShortNote )
{
    const std::vector<std::filesystem::path> files( 20, "a.stl" );
    const auto note = openedNotice( files, std::vector<std::string>( 20, "holes" ), 20, true );
    EXPECT_EQ( note.type, NotificationType::Warning );
    EXPECT_EQ( std::count( note.text.begin(), note.text.end(), '\n' ), 6 );
    EXPECT_TRUE( note.text.ends_with( "\nand 14 more with warnings" ) ) << note.text;
}
