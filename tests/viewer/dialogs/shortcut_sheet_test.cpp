#include "support/ui/BareInterface.h"

#include <VXViewer/dialogs/ShortcutSheet.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr const char* cWindow = "shortcutSheet";

class ShortcutSheets : public Testing::BareInterface
{
protected:
    ShortcutSheets()
    {
        using Category = ShortcutManager::Category;
        bind( { 'F', ShiftModifier }, Category::View, "fit_selected" );
        bind( { 'Z', ControlModifier }, Category::Edit, "undo" );
        bind( { 'E', 0 }, Category::View, "edges" );
        bind( { GLFW_KEY_F1, 0 }, Category::Info, "help" );
        draw = [this] { sheet_.draw( manager_ ); };
    }
    void bind( ShortcutKey key, ShortcutManager::Category category, const std::string& name )
    {
        EXPECT_TRUE( manager_.setShortcut( key, { .category = category, .name = name, .action = [] {} } ) );
    }
    void open()
    {
        sheet_.open();
        settle();
    }
    /// The table, without the field above it and the button below.
    [[nodiscard]] static std::string table() { return said( "##shortcuts_" ); }

    ShortcutManager manager_;
    ShortcutSheet sheet_;
};

} // namespace

TEST_F( ShortcutSheets, ListEveryCategoryOnceWithItsKeys )
{
    open();
    EXPECT_TRUE( sheet_.isShown() );
    EXPECT_EQ( table(), "Information\nhelp\nF1\nEdit\nundo\nCtrl+Z\nView\nedges\nE\nfit_selected\nShift+F\n" );
}

TEST_F( ShortcutSheets, TellCaptionsWhereThereAreSome )
{
    sheet_.captionOf = []( const std::string& name ) { return name == "undo" ? "Take back" : name; };
    open();
    EXPECT_NE( table().find( "Take back\nCtrl+Z\n" ), std::string::npos ) << table();
    type( "take" );
    EXPECT_EQ( table(), "Edit\nTake back\nCtrl+Z\n" );
}

TEST_F( ShortcutSheets, FindACommandByItsCaptionOrItsKeyInAnyCase )
{
    open();
    type( "FIT" );
    EXPECT_EQ( table(), "View\nfit_selected\nShift+F\n" );
    press( GLFW_KEY_A, ControlModifier );
    type( "ctrl+" );
    EXPECT_EQ( table(), "Edit\nundo\nCtrl+Z\n" );
    press( GLFW_KEY_A, ControlModifier );
    type( "  edges " );
    EXPECT_EQ( table(), "View\nedges\nE\n" ) << "blanks around it do not matter";
    press( GLFW_KEY_A, ControlModifier );
    type( "nothing" );
    EXPECT_EQ( table(), "No shortcut fits\n" );
}

TEST_F( ShortcutSheets, AreClosedByEscapeAndEnterAndForgetWhatWasLookedFor )
{
    open();
    type( "undo" );
    press( GLFW_KEY_ESCAPE );
    // The first press is the field's.
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( sheet_.isShown() );
    open();
    EXPECT_NE( table().find( "edges" ), std::string::npos );
    clickText( cWindow, "Close" );
    EXPECT_FALSE( sheet_.isShown() );
}
