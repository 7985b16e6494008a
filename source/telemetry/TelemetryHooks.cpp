#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/telemetry/TelemetryConfig.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/menu/FileDialogSignals.h>
#include <VXViewer/menu/ViewerSettingsPlugin.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <imgui.h>

namespace VX
{
namespace
{

constexpr auto cSettingsTab = ViewerSettingsPlugin::TabType::Application;

class AllowTelemetrySetting final : public ViewerSettingsPlugin::ExternalSettings
{
public:
    [[nodiscard]] const std::string& getName() const override { return name_; }
    void draw( float menuScaling ) override
    {
        bool value = SessionLogs::isAllowed();
        if ( UI::checkbox( "Collect Usage Statistics", &value ) )
        {
            Config::instance().setBool( cTelemetryAllowedConfigKey, value );
            SessionLogs::allow( value );
        }
        UI::setTooltipIfHovered( "Allow application to collect (non-personal) data about tools that are used to "
                                 "improve performance.",
            menuScaling );
    }
    /// For this run; the stored consent counts again at the next sign-in.
    void reset() override { SessionLogs::allow( true ); }
    [[nodiscard]] const char* separatorName() const override { return "Behavior"; }
    [[nodiscard]] std::string resetEffect() const override
    {
        return "Usage statistics are collected until the next sign-in, whatever you have chosen; then your choice "
               "counts "
               "again";
    }

private:
    std::string name_ = "Collect Usage Statistics";
};

std::string themeName()
{
    return ColorTheme::getThemeType() == ColorTheme::Type::Preset ? ColorTheme::getPresetName( ColorTheme::getPreset() )
                                                                  : "Custom";
}

void onHistoryChanged( const HistoryStore& store, HistoryStore::ChangeType type )
{
    if ( type == HistoryStore::ChangeType::AppendAction )
        SessionLogs::logAction(
            fmt::format( Actions::cHistoryAdded, store.getLastActionName( HistoryAction::Type::Undo ) ) );
}

} // namespace

void OrvantaRibbonMenu::setupSessionLogs_()
{
    if ( const auto& history = getViewerInstance().getHistoryStore() )
        connections_.emplace_back( history->changedSignal.connect( &onHistoryChanged ) );
    connections_.emplace_back(
        getSearch().onFocus.connect( [] { SessionLogs::logAction( Actions::cSearchFocused ); } ) );
    connections_.emplace_back( getSearch().onToolActivate.connect(
        []( const std::shared_ptr<RibbonMenuItem>& ) { SessionLogs::logAction( Actions::cSearchToolActivated ); } ) );
    if ( auto* list = dynamic_cast<RibbonSceneObjectsListDrawer*>( getSceneObjectsList().get() ) )
        connections_.emplace_back( list->onDrawContextSignal.connect(
            []
            {
                if ( ImGui::IsWindowAppearing() )
                    SessionLogs::logAction( Actions::cSceneContextOpened );
            } ) );
    connections_.emplace_back( ColorTheme::onChanged(
        [] { SessionLogs::logAction( fmt::format( Actions::cColorThemeChanged, themeName() ) ); } ) );
    connections_.emplace_back( FileDialogSignals::instance().onSaveFile.connect( []( const std::filesystem::path& file )
        { SessionLogs::logAction( fmt::format( Actions::cSave, commonFilesName( { file } ) ) ); } ) );
    if ( auto* settings = ViewerSettingsPlugin::instance(); settings && SessionLogs::isEnabled() )
    {
        // One entry, however often a menu is made in this process.
        static const auto sSetting = std::make_shared<AllowTelemetrySetting>();
        settings->delComboSettings( cSettingsTab, sSetting );
        settings->addComboSettings( cSettingsTab, sSetting );
    }
}

} // namespace VX
