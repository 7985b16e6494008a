#include "support/LogCapture.h"
#include "support/OwnScene.h"
#include "support/OwnSettings.h"
#include "support/ui/BareInterface.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/menu/LinkOpener.h>
#include <VXViewer/menu/UnsavedWork.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui.h>

#include <cstdlib>

using namespace VX;

namespace
{

constexpr const char* cQuestion = "##question";
constexpr const char* cFileDialog = "##fileDialog";

/// A menu that keeps the notes.
class Menu final : public ImGuiMenu
{
public:
    void pushNotification( const RibbonNotification& notification ) override { told.push_back( notification ); }
    std::vector<RibbonNotification> told;
};

/// A menu of the viewer that has no window, over a scene; no other program is found.
class WorkToSave : public Testing::BareInterface
{
protected:
    WorkToSave()
    {
        ::setenv( "PATH", settings_.folder().c_str(), 1 );
        Config::instance().setJsonValue( "lastOpenFolder", files_.path().string() );
        getViewerInstance().setMenuPlugin( menu_ );
        draw = [this] { menu_->draw(); };
    }
    ~WorkToSave() override
    {
        getViewerInstance().setMenuPlugin( nullptr );
        ::setenv( "PATH", path_.c_str(), 1 );
    }
    void edit( const std::string& name = "new" )
    {
        SceneEdits::add( "Create Cube", { Testing::meshObject( name, Testing::cube() ) } );
    }
    void leave()
    {
        UnsavedWork::leave( [this] { ++left_; } );
        settle();
    }
    [[nodiscard]] std::filesystem::path file( const std::string& name ) const { return files_.path() / name; }
    [[nodiscard]] std::string lastNote() const
    {
        return menu_->told.empty() ? "" : menu_->told.back().header + ": " + menu_->told.back().text;
    }

    const std::string path_ = std::getenv( "PATH" );
    Testing::OwnSettings settings_;
    Testing::ScratchFolder files_;
    Testing::OwnScene scene_;
    std::shared_ptr<Menu> menu_ = std::make_shared<Menu>();
    int left_ = 0;
};

} // namespace

TEST_F( WorkToSave, NothingIsAskedWhereAllIsSaved )
{
    leave();
    EXPECT_EQ( left_, 1 );
    edit();
    scene_.history().undo();
    leave();
    EXPECT_EQ( left_, 2 ) << "taken back";
    EXPECT_FALSE( menu_->isModalShown() );
}

TEST_F( WorkToSave, NothingIsAskedWhereNobodyCanBe )
{
    getViewerInstance().setMenuPlugin( nullptr );
    draw = {};
    edit();
    leave();
    EXPECT_EQ( left_, 1 );
}

TEST_F( WorkToSave, EscapeAndCancelStay )
{
    edit();
    leave();
    EXPECT_TRUE( says( cQuestion, "Save the changes to this scene?" ) );
    EXPECT_TRUE( says( cQuestion, "It was never saved as a scene, and is lost otherwise." ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isShown( cQuestion ) );
    leave();
    clickText( cQuestion, "Cancel" );
    EXPECT_EQ( left_, 0 );
    EXPECT_EQ( scene_.tree(), "new" );
}

TEST_F( WorkToSave, DiscardGoesOn )
{
    edit();
    leave();
    press( 'D', AltModifier );
    EXPECT_EQ( left_, 1 );
    EXPECT_EQ( lastNote(), "" ) << "nothing was saved";
}

TEST_F( WorkToSave, SavesWhereTheSceneBelongsAndGoesOn )
{
    sceneDocument().setFile( file( "part.vxu" ) );
    edit();
    leave();
    EXPECT_TRUE( says( cQuestion, "Save the changes to \"part.vxu\"?" ) );
    EXPECT_TRUE( says( cQuestion, "What was changed since it was saved is lost otherwise." ) );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( left_, 1 );
    EXPECT_EQ( lastNote(), "Saved: " + file( "part.vxu" ).string() );
    EXPECT_TRUE( sceneDocument().isSaved() );
    const auto loaded = loadObjectFromFile( file( "part.vxu" ) );
    ASSERT_TRUE( loaded ) << loaded.error();
    EXPECT_EQ( loaded->objects.at( 0 )->name(), "new" );
}

TEST_F( WorkToSave, ALongNameDoesNotFillTheQuestion )
{
    sceneDocument().setFile( file( std::string( 60, 'x' ) + ".vxu" ) );
    edit();
    leave();
    EXPECT_TRUE( says( cQuestion, "Save the changes to this scene?" ) );
}

TEST_F( WorkToSave, WhatCannotBeSavedIsNotLeft )
{
    sceneDocument().setFile( file( "missing/part.vxu" ) );
    edit();
    leave();
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( left_, 0 );
    EXPECT_FALSE( sceneDocument().isSaved() );
    EXPECT_TRUE( says( "##modalMessage", "Error" ) );
    EXPECT_TRUE( says( "##modalMessage", "part.vxu" ) ) << said( "##modalMessage" );
}

TEST_F( WorkToSave, AsksForAFileWhereThereIsNoneAndGoesOnAfterwards )
{
    edit( "Bracket" );
    leave();
    press( GLFW_KEY_ENTER );
    ASSERT_TRUE( isShown( cFileDialog ) );
    EXPECT_EQ( left_, 0 );
    EXPECT_TRUE( says( cFileDialog, "Bracket" ) ) << "by the only object";
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( left_, 1 );
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_EQ( sceneDocument().file(), file( "Bracket.vxu" ) );
    EXPECT_TRUE( std::filesystem::exists( file( "Bracket.vxu" ) ) );
}

TEST_F( WorkToSave, GivingTheFileUpStays )
{
    edit();
    leave();
    press( GLFW_KEY_ENTER );
    clickText( cFileDialog, "Cancel" );
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_EQ( left_, 0 );
    EXPECT_FALSE( sceneDocument().isSaved() );
}

TEST_F( WorkToSave, AFileThatStandsThereIsReplacedByItsButtonAlone )
{
    edit( "part" );
    std::filesystem::copy_file( files_.write( "other.vxu", "other" ), file( "part.vxu" ) );
    UnsavedWork::saveAs();
    settle();
    EXPECT_TRUE( says( cFileDialog, "Replace" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( Testing::readFile( file( "part.vxu" ) ), "other" );
    EXPECT_TRUE( isShown( cFileDialog ) );
    clickText( cFileDialog, "Replace" );
    EXPECT_NE( Testing::readFile( file( "part.vxu" ) ), "other" );
    EXPECT_EQ( lastNote(), "Saved: " + file( "part.vxu" ).string() );
}

TEST_F( WorkToSave, TheNameIsSuggestedByTheFileElseByTheOnlyObject )
{
    const auto suggested = [this]
    {
        UnsavedWork::saveAs();
        settle();
        const auto text = said( cFileDialog );
        clickText( cFileDialog, "Cancel" );
        for ( const char* name : { "assembly", "first", "scene" } )
            if ( text.find( std::string( name ) + "\n" ) != std::string::npos )
                return std::string( name );
        return text;
    };
    edit( "first" );
    EXPECT_EQ( suggested(), "first" );
    edit( "second" );
    EXPECT_EQ( suggested(), "scene" );
    sceneDocument().setFile( file( "assembly.vxu" ) );
    EXPECT_EQ( suggested(), "assembly" );
}

TEST_F( WorkToSave, FilesToOpenAreChosenByTheKeyboard )
{
    std::vector<std::filesystem::path> opened;
    menu_->openFileDialog();
    settle();
    EXPECT_FALSE( menu_->isModalShown() ) << "nobody said what is done with them";
    menu_->setOpenAction( [&]( const auto& files ) { opened = files; } );
    std::filesystem::create_directory( file( "sub" ) );
    files_.write( "sub/a.stl", "x" );
    menu_->openFileDialog();
    settle();
    EXPECT_TRUE( menu_->isModalShown() );
    for ( const int key : { GLFW_KEY_DOWN, GLFW_KEY_ENTER, GLFW_KEY_DOWN, GLFW_KEY_ENTER } )
        press( key );
    EXPECT_EQ( opened, std::vector<std::filesystem::path>{ file( "sub/a.stl" ) } );
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_EQ( Config::instance().getJsonValue( "lastOpenFolder" ).asString(), file( "sub" ).string() )
        << "where the next dialog begins";
}

TEST_F( WorkToSave, AFolderThatHasGoneIsNotWhereADialogBegins )
{
    Config::instance().setJsonValue( "lastOpenFolder", file( "gone" ).string() );
    edit();
    UnsavedWork::saveAs();
    settle();
    EXPECT_TRUE( says( cFileDialog, getUserHomeDir().string() ) ) << said( cFileDialog );
}

TEST_F( WorkToSave, AnAddressThatIsNoPageIsTold )
{
    const Testing::LogCapture log;
    openLinkOrTell( "file:///usr/share/doc/help.html" );
    EXPECT_EQ( lastNote(),
        "The page cannot be opened: No browser could be started. The address is\nfile:///usr/share/doc/help.html" );
    ASSERT_EQ( menu_->told.size(), 1u );
    std::string copied;
    ImGui::GetIO().ClipboardUserData = &copied;
    ImGui::GetIO().SetClipboardTextFn = []( void* to, const char* text ) { *static_cast<std::string*>( to ) = text; };
    ASSERT_TRUE( menu_->told.back().onButtonClick );
    menu_->told.back().onButtonClick();
    EXPECT_EQ( copied, "file:///usr/share/doc/help.html" );
    getViewerInstance().setMenuPlugin( nullptr );
    openLinkOrTell( "file:///usr/share/doc/help.html" );
    EXPECT_EQ( menu_->told.size(), 1u ) << "nor is there anybody to be told without a menu";
}
