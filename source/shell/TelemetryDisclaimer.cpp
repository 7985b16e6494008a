#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/telemetry/TelemetryConfig.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/window/Window.h>

#include <imgui.h>

namespace VX
{
namespace
{

constexpr const char* cPopup = "TelemetryDisclaimer##TelemetryDisclaimer";
constexpr const char* cTitle = "We'd Like to Improve Your Experience";
constexpr const char* cText =
    "To help us understand how you use Orvanta and make it better, we'll collect data on the tools you click on. This "
    "will give us insights to improve functionality and usability.\n\nNo personal info or file data is collected, and "
    "you can opt out anytime in the settings.";
constexpr float cWidth = 800, cHeight = 190, cButtonsWidth = 500, cHeadingLift = 12;

bool isAnswered()
{
    static const std::string sKey = cShowTelemetryDisclaimerModalConfigKey;
    const auto value = Config::instance().getJsonValue( sKey );
    return value.type() == Json::intValue && value.asInt64() == 0;
}

void rememberAnswer()
{
    Config::instance().setJsonValue( cShowTelemetryDisclaimerModalConfigKey, 0 );
    ImGui::CloseCurrentPopup();
}

void accept()
{
    SessionLogs::allow( true );
    Config::instance().setBool( cTelemetryAllowedConfigKey, true );
    rememberAnswer();
}

void openSettings( const std::function<void( const std::shared_ptr<RibbonMenuItem>& )>& start )
{
    if ( auto* settings = ViewerSettingsPlugin::instance() )
    {
        if ( !settings->isActive() )
            start( RibbonSchemaHolder::findItem( settings->name() ) );
        settings->setActiveTab( ViewerSettingsPlugin::TabType::Application );
    }
    rememberAnswer();
}

void drawText()
{
    const float scale = UI::scale();
    {
        const FontScope headline( RibbonFontManager::FontType::Headline );
        ImGui::SetCursorPosX( ( cWidth * scale - ImGui::CalcTextSize( cTitle ).x ) * 0.5f );
        ImGui::TextUnformatted( cTitle );
    }
    // The window's height leaves no room for the whole gap.
    ImGui::SetCursorPosY( ImGui::GetCursorPosY() - cHeadingLift * scale );
    ImGui::TextWrapped( "%s", cText );
}

} // namespace

void OrvantaRibbonMenu::telemetryDisclaimerModal_( float menuScaling )
{
    static bool sOpened = false;
    if ( !sOpened && SessionLogs::isEnabled() && !isAnswered() )
        sOpened = disclaimerRequested_ = true;
    disclaimerId_ = int( ImGui::GetID( cPopup ) );
    if ( std::exchange( disclaimerRequested_, false ) )
        ImGui::OpenPopup( ImGuiID( disclaimerId_ ) );
    const ImVec2 size{ cWidth * menuScaling, cHeight * menuScaling };
    const auto* window = viewWindow();
    ImGui::SetNextWindowSize( size, ImGuiCond_Always );
    ImGui::SetNextWindowPos(
        { ( float( window->width() ) - size.x ) * 0.5f, ( float( window->height() ) - size.y ) * 0.5f },
        ImGuiCond_Always, { 0, 0 } );
    const StyleScope style( { { ImGuiStyleVar_ItemSpacing, { 16 * menuScaling, 24 * menuScaling } },
        { ImGuiStyleVar_WindowPadding, { 28 * menuScaling, 20 * menuScaling } } } );
    if ( ImGui::BeginModalNoAnimation( cPopup, nullptr, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize ) )
    {
        drawText();
        {
            const StyleScope tall(
                { { ImGuiStyleVar_FramePadding, { ImGui::GetStyle().FramePadding.x, 8 * menuScaling } } } );
            const float buttons = cButtonsWidth * menuScaling;
            const float width = ( buttons - ImGui::GetStyle().ItemSpacing.x ) * 0.5f;
            ImGui::SetCursorPosX( ImGui::GetCursorPosX() + ( ImGui::GetContentRegionAvail().x - buttons ) * 0.5f );
            if ( UI::button( "Ok", { width, 0 }, { .enterKey = true } ) )
                accept();
            ImGui::SameLine();
            if ( UI::button( "Manage Settings", { width, 0 }, { .primary = false } ) )
                // Nobody has pressed the tool, so nothing is said of it.
                openSettings( [this]( const auto& item ) { RibbonMenu::itemPressed_( item, {} ); } );
        }
        ImGui::EndPopup();
    }
}

} // namespace VX
