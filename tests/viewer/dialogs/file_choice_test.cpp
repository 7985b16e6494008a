#include "support/ScratchFolder.h"

#include <VXViewer/dialogs/FileChoice.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

using Texts = std::vector<std::string>;

/// Over a folder with the entries sub/, a.stl, b.stl, c.stl and notes.doc.
class FileChoices : public testing::Test
{
protected:
    FileChoices()
    {
        std::filesystem::create_directory( folder() / "sub" );
        for ( const char* name : { "a.stl", "b.stl", "c.stl", "notes.doc", "sub/deep.stl" } )
            scratch_.write( name, "x" );
        choice_.beginOpen( folder() );
    }
    [[nodiscard]] const std::filesystem::path& folder() const { return scratch_.path(); }
    /// The marked entries, the one under the cursor in brackets.
    [[nodiscard]] std::string marks() const
    {
        std::string out;
        for ( size_t i = 0; i < choice_.listing().entries.size(); ++i )
        {
            const auto name = choice_.listing().entries[i].name;
            if ( choice_.isMarked( i ) )
                out += i == choice_.cursor() ? "[" + name + "] " : name + " ";
        }
        return out;
    }
    [[nodiscard]] Texts chosen() const
    {
        Texts out;
        for ( const auto& file : choice_.markedFiles() )
            out.push_back( file.lexically_relative( folder() ) );
        return out;
    }
    void save( const std::string& name ) { choice_.beginSave( folder(), name, ".vxu" ); }

    enum Entry : size_t
    {
        Sub,
        A,
        B,
        C
    };
    Testing::ScratchFolder scratch_;
    FileChoice choice_;
};

} // namespace

TEST_F( FileChoices, NothingIsMarkedAtFirst )
{
    EXPECT_FALSE( choice_.isSaving() );
    EXPECT_EQ( choice_.listing().entries.size(), 4u );
    EXPECT_FALSE( choice_.anyMarked() );
    EXPECT_FALSE( choice_.activateMarked() );
    EXPECT_EQ( chosen(), Texts{} );
}

TEST_F( FileChoices, AClickMarksOneAloneAndWithCtrlBesideTheOthers )
{
    choice_.click( A, false );
    choice_.click( C, true );
    EXPECT_EQ( marks(), "a.stl [c.stl] " );
    EXPECT_EQ( chosen(), ( Texts{ "a.stl", "c.stl" } ) );
    choice_.click( C, true );
    EXPECT_EQ( marks(), "a.stl " ) << "taken out again";
    choice_.click( B, false );
    EXPECT_EQ( marks(), "[b.stl] " );
    choice_.click( B, false );
    EXPECT_EQ( marks(), "[b.stl] " ) << "a second click takes nothing out";
}

TEST_F( FileChoices, TheArrowsGoThroughTheListAndStopAtItsEnds )
{
    choice_.moveDown();
    EXPECT_EQ( marks(), "[sub] " ) << "the first, as none was marked";
    choice_.moveDown();
    choice_.moveDown();
    EXPECT_EQ( marks(), "[b.stl] " );
    choice_.moveDown();
    choice_.moveDown();
    EXPECT_EQ( marks(), "[c.stl] " );
    choice_.click( A, false );
    choice_.click( B, true );
    choice_.moveUp();
    EXPECT_EQ( marks(), "[a.stl] " ) << "from where the mouse was, alone";
    choice_.moveUp();
    choice_.moveUp();
    EXPECT_EQ( marks(), "[sub] " );
}

TEST_F( FileChoices, TheArrowsDoNothingInAnEmptyFolder )
{
    std::filesystem::create_directory( folder() / "empty" );
    FileChoice fresh;
    fresh.beginOpen( folder() / "empty" );
    fresh.moveDown();
    fresh.moveUp();
    EXPECT_EQ( fresh.cursor(), 0u );
    EXPECT_FALSE( fresh.anyMarked() );
    EXPECT_FALSE( fresh.activateMarked() );
}

TEST_F( FileChoices, AFolderIsEnteredAndLeft )
{
    choice_.click( B, false );
    EXPECT_FALSE( choice_.activate( Sub ) );
    EXPECT_EQ( choice_.folder(), folder() / "sub" );
    EXPECT_FALSE( choice_.anyMarked() ) << "marks belong to their folder";
    EXPECT_EQ( choice_.cursor(), 0u );
    ASSERT_EQ( choice_.listing().entries.size(), 1u );
    EXPECT_TRUE( choice_.activate( 0 ) );
    EXPECT_EQ( chosen(), Texts{ "sub/deep.stl" } );
    choice_.goUp();
    EXPECT_EQ( choice_.folder(), folder() );
}

TEST_F( FileChoices, OneLevelUpIsOneAlsoFromAPathThatEndsWithASlash )
{
    choice_.goTo( folder() / "sub/" );
    choice_.goUp();
    EXPECT_EQ( choice_.folder(), folder() );
    choice_.goTo( "/" );
    choice_.goUp();
    EXPECT_EQ( choice_.folder(), "/" );
}

TEST_F( FileChoices, EnterOpensAllThatIsMarkedButFolders )
{
    choice_.click( Sub, false );
    choice_.click( A, true );
    choice_.click( C, true );
    EXPECT_TRUE( choice_.activateMarked() );
    EXPECT_EQ( chosen(), ( Texts{ "a.stl", "c.stl" } ) );
}

TEST_F( FileChoices, WhatWasTakenOutLastIsNotOpenedAfterAll )
{
    choice_.click( A, false );
    choice_.click( C, true );
    choice_.click( C, true );
    EXPECT_TRUE( choice_.activateMarked() );
    EXPECT_EQ( chosen(), Texts{ "a.stl" } );
    choice_.click( Sub, true );
    choice_.click( Sub, true );
    EXPECT_TRUE( choice_.activateMarked() );
    EXPECT_EQ( choice_.folder(), folder() ) << "nor is a folder entered";
}

TEST_F( FileChoices, AllFilesAreShownWhereWantedAndStayWantedElsewhere )
{
    choice_.click( A, false );
    choice_.showAllFiles( true );
    EXPECT_EQ( choice_.listing().entries.size(), 5u );
    EXPECT_FALSE( choice_.anyMarked() ) << "the list is another";
    scratch_.write( "sub/notes.doc", "x" );
    choice_.goTo( folder() / "sub" );
    EXPECT_EQ( choice_.listing().entries.size(), 2u );
    EXPECT_TRUE( choice_.showsAllFiles() );
    choice_.showAllFiles( false );
    EXPECT_EQ( choice_.listing().entries.size(), 1u );
}

TEST_F( FileChoices, ANameGetsTheExtensionUnlessItHasIt )
{
    const auto target = [this]( const std::string& name )
    {
        save( name );
        return choice_.saveTarget().filename().string();
    };
    EXPECT_EQ( target( "part" ), "part.vxu" );
    EXPECT_EQ( target( "part.vxu" ), "part.vxu" );
    EXPECT_EQ( target( "part.VXU" ), "part.VXU" );
    EXPECT_EQ( target( "part.stl" ), "part.stl.vxu" );
    EXPECT_EQ( target( "v1.2" ), "v1.2.vxu" );
    EXPECT_EQ( target( "  part  " ), "part.vxu" ) << "blanks around it are none of the name";
}

TEST_F( FileChoices, ANameMayLeadElsewhere )
{
    save( "sub/part" );
    EXPECT_EQ( choice_.saveTarget(), folder() / "sub/part.vxu" );
    choice_.name() = "/elsewhere/part";
    EXPECT_EQ( choice_.saveTarget(), "/elsewhere/part.vxu" );
}

TEST_F( FileChoices, TellsWhetherAFileIsReplaced )
{
    scratch_.write( "part.vxu", "x" );
    save( "part" );
    EXPECT_TRUE( choice_.isSaving() );
    EXPECT_TRUE( choice_.replaces() );
    choice_.name() = "another";
    EXPECT_FALSE( choice_.replaces() );
    choice_.name() = "  ";
    EXPECT_FALSE( choice_.hasName() );
    scratch_.write( ".vxu", "x" );
    EXPECT_FALSE( choice_.replaces() ) << "no name is no file";
}

TEST_F( FileChoices, AFileThatIsPressedGivesItsNameToSaveUnder )
{
    save( "part" );
    choice_.click( B, false );
    EXPECT_EQ( choice_.name(), "b.stl" );
    choice_.click( Sub, false );
    EXPECT_EQ( choice_.name(), "b.stl" ) << "a folder gives none";
    choice_.moveDown();
    EXPECT_EQ( choice_.name(), "b.stl" ) << "the arrows only go there";
    EXPECT_FALSE( choice_.activateMarked() );
    EXPECT_EQ( choice_.name(), "a.stl" );
    EXPECT_FALSE( choice_.activate( Sub ) );
    EXPECT_EQ( choice_.folder(), folder() / "sub" );
    EXPECT_EQ( choice_.name(), "a.stl" ) << "it goes along into another folder";
}

TEST_F( FileChoices, PressingAFileToOpenGivesNoName )
{
    save( "part" );
    choice_.beginOpen( folder() );
    choice_.click( B, false );
    EXPECT_EQ( choice_.name(), "part" );
}
