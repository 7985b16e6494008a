#include <VXOrvanta/shell/OrvantaRibbonMenu.h>

#include <VXMesh/io/Text.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/shell/ArchitectureCheck.h>
#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/scene/SceneCache.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX
{
namespace
{

using Category = ShortcutManager::Category;

// Key codes and modifiers as GLFW numbers them.
constexpr int cKeyDelete = 261;

/// Names of the toolbar's tools as they were before version 2.
void upgradeToolbarToVersion2( Toolbar::Items& items )
{
    std::replace( items.begin(), items.end(), std::string( "Face Selector" ), std::string( "Select Primitives" ) );
    std::erase( items, "Camera" );
}

} // namespace

RibbonMenu& WelcomeWindow::ribbon_() const
{
    return *menu_;
}

std::shared_ptr<OrvantaRibbonMenu> OrvantaRibbonMenu::instance()
{
    return std::dynamic_pointer_cast<OrvantaRibbonMenu>( getViewerInstance().getMenuPlugin() );
}

OrvantaRibbonMenu::OrvantaRibbonMenu()
    : authWindow_( std::make_unique<AuthWindow>() )
{
    getViewerInstance().perFrameSignal.connect(
        [this]
        {
            SessionLogs::flushIfNeeded( false );
            if ( authWindow_ )
                authWindow_->drawIfNeeded( menu_scaling() );
        } );
    authWindow_->signOutSignal.connect( [this] { firstSignedInFrameDone_ = false; } );
    toolbar_.addUpgrade( 2, &upgradeToolbarToVersion2 );
}

OrvantaRibbonMenu::~OrvantaRibbonMenu() = default;

void OrvantaRibbonMenu::init( Viewer* viewer )
{
    RibbonMenu::init( viewer );
    drawCallback = [this]
    {
        drawFrame_( [this]
            { wantHint_( !menuConfig_.drawWelcomeWindow || isWaitingForSignIn_() || !welcomeWindow_.isDue() ); },
            [this]( bool anyPanel ) { drawOverScene_( anyPanel ); } );
    };
    welcomeWindow_.init( this, [this]( const std::shared_ptr<RibbonMenuItem>& item, const std::string& requirements )
        { itemPressed_( item, requirements ); } );
    setupSessionLogs_();
}

void OrvantaRibbonMenu::shutdown()
{
    SessionLogs::logAction( Actions::cCloseApplication );
    SessionLogs::flushIfNeeded( true );
    RibbonMenu::shutdown();
    authWindow_.reset();
}

void OrvantaRibbonMenu::setupShortcuts_()
{
    if ( menuConfig_.allowBaseShortcuts )
        RibbonMenu::setupShortcuts_();
    if ( !getShortcutManager() )
        ImGuiMenu::setupShortcuts_(); // NOLINT(bugprone-parent-virtual-call): without the keys of the ribbon
    if ( menuConfig_.allowHistoryShortcuts )
    {
        addRibbonItemShortcut_( "Undo", { 'Z', ControlModifier }, Category::Edit );
        addRibbonItemShortcut_( "Redo", { 'Z', ControlModifier | ShiftModifier }, Category::Edit );
    }
    if ( menuConfig_.allowBaseShortcuts )
    {
        addRibbonItemShortcut_( "Select Primitives", { 'W', ControlModifier }, Category::Selection );
        addRibbonItemShortcut_( "Clear Selections", { 'X', ControlModifier }, Category::Selection );
        addRibbonItemShortcut_( "Delete Selection", { cKeyDelete, 0 }, Category::Edit );
    }
}

void OrvantaRibbonMenu::setOrvantaMenuConfig( const OrvantaMenuUIConfig& config )
{
    menuConfig_ = config;
    rebindShortcuts_();
}

void OrvantaRibbonMenu::drawOverScene_( bool anyPanel )
{
    if ( menuConfig_.drawWelcomeWindow )
        drawWelcomeWindow_();
    if ( !anyPanel )
        return;
    draw_helpers();
    drawVersionWindow_();
}

void OrvantaRibbonMenu::drawWelcomeWindow_()
{
    if ( !isWaitingForSignIn_() )
        welcomeWindow_.draw();
}

void OrvantaRibbonMenu::drawSceneListButtons_()
{
    if ( UserInfo::getAccessToken().empty() )
    {
        firstSignedInFrameDone_ = false;
        return RibbonMenu::drawSceneListButtons_();
    }
    if ( !firstSignedInFrameDone_ )
    {
        firstSignedInFrameDone_ = true;
        onFirstSignInFrame_();
    }
    telemetryDisclaimerModal_( menu_scaling() );
    RibbonMenu::drawSceneListButtons_();
}

void OrvantaRibbonMenu::onFirstSignInFrame_()
{
    checkArchitecture_( getOSNoSpaces(), GetCpuId() );
}

void OrvantaRibbonMenu::checkArchitecture_( const std::string& platformName, const std::string& cpuName )
{
    const auto platform = toLower( platformName );
    const auto cpu = toLower( cpuName );
    spdlog::debug( "\nplatform: \"{}\"\n cpuName: \"{}\"", platform, cpu );
    if ( const auto notice = architectureNotice( platform, cpu ) )
        pushNotification( *notice );
}

void OrvantaRibbonMenu::showModalMessage( const std::string& message, NotificationType type )
{
    if ( message != "Operation was canceled" )
    {
        if ( type == NotificationType::Error )
            SessionLogs::logAction( Actions::cErrorModal );
        else if ( type == NotificationType::Warning )
            SessionLogs::logAction( Actions::cWarningModal );
    }
    ImGuiMenu::showModalMessage( message, type );
}

void OrvantaRibbonMenu::pushNotification( const RibbonNotification& notification )
{
    if ( notification.type == NotificationType::Error )
        SessionLogs::logAction( Actions::cErrorNotification );
    RibbonMenu::pushNotification( notification );
}

void OrvantaRibbonMenu::emitItemPressed( const std::shared_ptr<RibbonMenuItem>& item )
{
    itemPressed_( item, item ? std::string( getRequirements_( item ) ) : std::string() );
}

bool OrvantaRibbonMenu::itemPressed_( const std::shared_ptr<RibbonMenuItem>& item, const std::string& requirements )
{
    const bool wasActive = item && item->isActive();
    const bool done = RibbonMenu::itemPressed_( item, requirements );
    if ( !item )
        return false;
    if ( wasActive || !RibbonSchemaHolder::schema().items.contains( item->name() ) )
        return done;
    if ( done )
        SessionLogs::logAction( fmt::format( Actions::cToolActivated, item->name() ) );
    else if ( !requirements.empty() )
        SessionLogs::logAction( fmt::format( Actions::cRequirementsFaced, item->name() ) );
    return done;
}

bool OrvantaRibbonMenu::isAuthInProcess() const
{
    return authWindow_ && authWindow_->isRequestInProgress();
}

void OrvantaRibbonMenu::signOut()
{
    if ( authWindow_ )
        authWindow_->signOut();
}

} // namespace VX
