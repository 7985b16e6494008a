#include "support/ui/BareInterface.h"

#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/ui/Scale.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui_internal.h>

using namespace VX;
using Kind = RibbonItemButton::Kind;

namespace
{

/// A tool's button in a panel.
class ItemButtons : public Testing::BareInterface, public RibbonItemHost
{
protected:
    ItemButtons()
    {
        info_ = infoOf( "Test tool" );
        draw = [this]
        {
            ImGui::SetNextWindowPos( { 100, 100 } );
            ImGui::SetNextWindowSize( { 400, 200 } );
            ImGui::Begin( "Panel", nullptr, ImGuiWindowFlags_NoTitleBar );
            low_ = ImGui::GetCursorScreenPos();
            RibbonItemButton::draw( info_, kind_, *this );
            ImGui::End();
        };
    }
    ~ItemButtons() override
    {
        for ( const auto& name : added_ )
            RibbonSchemaHolder::removeItem( name );
    }
    void press( const std::shared_ptr<RibbonMenuItem>& item ) override { pressed_ += item->name() + " "; }
    std::string_view requirements( const std::shared_ptr<RibbonMenuItem>& ) override { return missing_; }
    std::string shortcut( const std::string& name ) override { return name == "Test tool" ? "Ctrl+T" : ""; }
    using BareInterface::press;

    static MenuItemInfo infoOf( const std::string& name )
    {
        MenuItemInfo out;
        out.item = std::make_shared<FunctionItem>( FunctionItemParams{ name, [] {}, {}, {} } );
        out.caption = name;
        return out;
    }
    void addToList( const std::string& name )
    {
        added_.push_back( name );
        RibbonSchemaHolder::addItem( infoOf( name ).item );
        info_.dropList.push_back( name );
    }
    /// Of a button with that caption.
    Vector2f sizeOf( const std::string& caption, Kind kind, float scale = 1 )
    {
        Vector2f out;
        UI::setScale( scale );
        const auto drawn = std::exchange( draw,
            [&]
            {
                auto info = info_;
                info.caption = caption;
                const auto size = RibbonItemButton::sizeOf( info, kind );
                out = { size.x, size.y };
            } );
        frames( 1 );
        draw = drawn;
        return out;
    }
    void clickButton( float x = 10 )
    {
        settle();
        click( { low_.x + x, low_.y + 10 } );
    }

    MenuItemInfo info_;
    Kind kind_ = Kind::Row;
    std::string_view missing_;
    std::string pressed_;
    ImVec2 low_;

private:
    std::vector<std::string> added_;
};

} // namespace

TEST_F( ItemButtons, ALargeOneBreaksALongCaptionAtTheBlankInItsMiddle )
{
    EXPECT_EQ( sizeOf( "Undo", Kind::Large ).x, 52 ) << "at least";
    EXPECT_EQ( sizeOf( "Save all!", Kind::Large ).x, 9 * 7 + 12 ) << "nine letters stand in one line";
    EXPECT_EQ( sizeOf( "Measure distance", Kind::Large ).x, 8 * 7 + 12 );
    EXPECT_EQ( sizeOf( "A bb cccc ddddddd", Kind::Large ).x, 9 * 7 + 12 ) << "A bb cccc";
    EXPECT_EQ( sizeOf( "Indivisible", Kind::Large ).x, 11 * 7 + 12 );
    EXPECT_EQ( sizeOf( "Undo", Kind::Large ).y, 66 );
}

TEST_F( ItemButtons, SmallOnesHaveTheirCaptionBesideThemOrNone )
{
    EXPECT_EQ( sizeOf( "Measure distance", Kind::Row ).x, 26 + 16 * 7 + 8 );
    for ( const auto kind : { Kind::Icon, Kind::Alone } )
        EXPECT_EQ( sizeOf( "Measure distance", kind ).x, 26 );
    for ( const auto kind : { Kind::Row, Kind::Icon, Kind::Alone } )
        EXPECT_EQ( sizeOf( "Undo", kind ).y, 21 );
    EXPECT_EQ( sizeOf( "Undo", Kind::Icon, 2 ).x, 52 );
    EXPECT_EQ( sizeOf( "Undo", Kind::Icon, 1.5f ).y, 32 ) << "whole pixels";
}

TEST_F( ItemButtons, AListNeedsAStripUnlessTheButtonIsAlone )
{
    info_.dropList = { "Other" };
    EXPECT_EQ( sizeOf( "Undo", Kind::Large ).x, 52 + 14 );
    EXPECT_EQ( sizeOf( "Undo", Kind::Icon ).x, 26 + 14 );
    EXPECT_EQ( sizeOf( "Undo", Kind::Alone ).x, 26 );
}

TEST_F( ItemButtons, APressIsToldAlsoOfAToolThatCannotBeUsed )
{
    clickButton();
    EXPECT_EQ( pressed_, "Test tool " );
    missing_ = "Open a file first";
    clickButton();
    EXPECT_EQ( pressed_, "Test tool Test tool " ) << "the press tells what is missing";
}

TEST_F( ItemButtons, ItsTooltipTellsKeyTextAndWhatIsMissing )
{
    info_.tooltip = "Tests a thing";
    missing_ = "Open a file first";
    settle();
    moveMouse( { low_.x + 10, low_.y + 10 } );
    settle();
    EXPECT_EQ( said( "##Tooltip" ), "Test tool\nCtrl+T\nTests a thing\nOpen a file first\n" );
    missing_ = {};
    info_.tooltip.clear();
    settle();
    EXPECT_EQ( said( "##Tooltip" ), "Test tool\nCtrl+T\n" );
}

TEST_F( ItemButtons, TheStripOpensAListWhoseToolsArePressed )
{
    addToList( "Other tool" );
    addToList( "Third tool" );
    info_.dropList.emplace_back( "Gone" );
    const float strip = sizeOf( info_.caption, kind_ ).x - 7;
    clickButton( strip );
    EXPECT_EQ( pressed_, "" );
    EXPECT_EQ( said( "##Popup" ), "Other tool\nThird tool\n" );
    clickText( "##Popup", "Third tool" );
    EXPECT_EQ( pressed_, "Third tool " );
    EXPECT_FALSE( isShown( "##Popup" ) );
}
