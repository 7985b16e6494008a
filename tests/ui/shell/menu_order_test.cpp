#include "support/ScratchFolder.h"
#include "support/ui/UiFixture.h"

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <algorithm>
#include <type_traits>

using namespace VX;

namespace
{

using Names = std::vector<std::string>;

/// The menu with a log of what is drawn, in its order.
class RecordingMenu final : public OrvantaRibbonMenu
{
public:
    Names drawn;

protected:
    void drawTopPanel_( bool tabs, bool center ) override
    {
        drawn.push_back( std::string( "top" ) + ( tabs ? " tabs" : "" ) + ( center ? " center" : "" ) );
    }
    void drawActiveBlockingDialog_() override { drawn.emplace_back( "blocking" ); }
    void drawActiveNonBlockingDialogs_() override { drawn.emplace_back( "nonblocking" ); }
    void drawToolbar_() override { drawn.emplace_back( "toolbar" ); }
    void drawRibbonSceneList_() override { drawn.emplace_back( "scene" ); }
    void drawRibbonViewportsLabels_() override { drawn.emplace_back( "labels" ); }
    void drawActiveList_() override { drawn.emplace_back( "active" ); }
    void drawWelcomeWindow_() override { drawn.emplace_back( "welcome" ); }
    void drawVersionWindow_() override { drawn.emplace_back( "version" ); }
    void drawNotifications_() override { drawn.emplace_back( "notifications" ); }

public:
    void draw_helpers() override { drawn.emplace_back( "helpers" ); }
};

class RecordingSetup final : public OrvantaSetup
{
public:
    void setupBasePlugins( Viewer* viewer ) const override
    {
        viewer->setMenuPlugin( std::make_shared<RecordingMenu>() );
    }
};

class DrawOrder : public testing::Test
{
protected:
    DrawOrder()
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setWebTransport( std::make_shared<ScriptedTransport>() );
        LaunchParams params;
        params.windowless = true;
        EXPECT_TRUE( getViewerInstance().start( params, setup_ ) );
        menu_ = std::dynamic_pointer_cast<RecordingMenu>( getViewerInstance().getMenuPlugin() );
    }
    ~DrawOrder() override
    {
        menu_.reset();
        EXPECT_TRUE( getViewerInstance().stop() );
        setWebTransport( nullptr );
    }
    Names frame( const RibbonMenuUIConfig& config )
    {
        menu_->setMenuUIConfig( config );
        while ( getViewerInstance().framesDrawn() == 0 )
            getViewerInstance().step( 0 );
        menu_->drawn.clear();
        const auto before = getViewerInstance().framesDrawn();
        getViewerInstance().incrementForceRedrawFrames();
        while ( getViewerInstance().framesDrawn() == before )
            getViewerInstance().step( 0 );
        return menu_->drawn;
    }
    Testing::ScratchFolder folder_;
    RecordingSetup setup_;
    std::shared_ptr<RecordingMenu> menu_;
};

/// Names the classes whose operations the menu has, own or inherited.
class Overrides final : public OrvantaRibbonMenu
{
public:
    using Framework = RibbonMenu;
    using Own = OrvantaRibbonMenu;
    template <typename Class, typename Result, typename... Args>
    static Class classOf_( Result ( Class::*operation )( Args... ) );
    template <typename Class, typename Result, typename... Args>
    static Class classOf_( Result ( Class::*operation )( Args... ) const );
    template <typename Class, auto... cOperations>
    // NOLINTNEXTLINE(misc-redundant-expression): of a pack, whose operands it takes for one
    static constexpr bool cAllOf = ( std::is_same_v<decltype( classOf_( cOperations ) ), Class> && ... );

    static constexpr bool cOwn =
        cAllOf<Own, &Overrides::init, &Overrides::shutdown, &Overrides::setupShortcuts_, &Overrides::showModalMessage,
            &Overrides::pushNotification, &Overrides::itemPressed_, &Overrides::drawSceneListButtons_,
            &Overrides::emitItemPressed, &Overrides::drawWelcomeWindow_, &Overrides::drawVersionWindow_>;
    static constexpr bool cInherited = cAllOf<Framework, &Overrides::removeNotification, &Overrides::getRequirements_,
        &Overrides::drawTopPanel_, &Overrides::drawActiveBlockingDialog_, &Overrides::drawActiveNonBlockingDialogs_,
        &Overrides::drawRibbonSceneList_, &Overrides::drawRibbonViewportsLabels_, &Overrides::drawActiveList_,
        &Overrides::drawNotifications_, &Overrides::drawToolbar_, &Overrides::onSceneClick, &Overrides::coveredPixels,
        &Overrides::isModalShown, &Overrides::onEscape_>;
};

static_assert( Overrides::cOwn && Overrides::cInherited );
static_assert( std::is_same_v<decltype( &OrvantaRibbonMenu::draw_helpers ), void ( ImGuiMenu::* )()> );

class Toolbars : public Testing::UiFixture
{
protected:
    /// The place of a window in the order of the last frame, or -1.
    static int placeOf( const char* name )
    {
        const auto* window = ImGui::FindWindowByName( name );
        return window && window->Active ? window->BeginOrderWithinContext : -1;
    }
    void drawWith( const RibbonMenuUIConfig& config )
    {
        menu_->setMenuUIConfig( config );
        (void)frame();
    }
};

} // namespace

TEST_F( DrawOrder, EverythingInItsOrder )
{
    EXPECT_EQ( frame( {} ), ( Names{ "top tabs", "blocking", "nonblocking", "toolbar", "scene", "labels", "active",
                                "welcome", "helpers", "version", "notifications" } ) );
}

TEST_F( DrawOrder, SwitchesLeaveTheirPartsOut )
{
    RibbonMenuUIConfig config;
    config.topLayout = TopPanelLayoutMode::None;
    EXPECT_EQ( frame( config ), ( Names{ "scene", "labels", "welcome", "helpers", "version", "notifications" } ) );
    config.drawScenePanel = false;
    EXPECT_EQ( frame( config ), ( Names{ "labels", "welcome", "notifications" } ) );
    config.topLayout = TopPanelLayoutMode::RibbonNoTabs;
    config.centerRibbonItems = true;
    config.drawViewportTags = config.drawNotifications = false;
    EXPECT_EQ( frame( config ),
        ( Names{ "top center", "blocking", "nonblocking", "toolbar", "active", "welcome", "helpers", "version" } ) );
    config.drawToolbar = false;
    EXPECT_EQ( frame( config ),
        ( Names{ "top center", "blocking", "nonblocking", "active", "welcome", "helpers", "version" } ) );
}

TEST_F( DrawOrder, WelcomeWindowIsSwitchedOff )
{
    menu_->setOrvantaMenuConfig( { .drawWelcomeWindow = false } );
    const auto drawn = frame( {} );
    EXPECT_EQ( std::count( drawn.begin(), drawn.end(), "welcome" ), 0 );
}

TEST_F( Toolbars, StandBeforeTheSceneListInTheOrder )
{
    drawWith( {} );
    ASSERT_GE( placeOf( "##toolbar" ), 0 );
    EXPECT_LT( placeOf( "##toolbar" ), placeOf( "##sceneList" ) );
}

TEST_F( Toolbars, AreSwitchedOffByThemselvesAndWithTheTopPanel )
{
    drawWith( { .drawToolbar = false } );
    EXPECT_EQ( placeOf( "##toolbar" ), -1 );
    EXPECT_GE( placeOf( "##sceneList" ), 0 );
    drawWith( {} );
    EXPECT_GE( placeOf( "##toolbar" ), 0 );
    drawWith( { .topLayout = TopPanelLayoutMode::None } );
    EXPECT_EQ( placeOf( "##toolbar" ), -1 );
}
