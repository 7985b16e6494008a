#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/telemetry/ActionNames.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXOrvanta/telemetry/TelemetrySetting.h>
#include <VXViewer/dialogs/FileDialogSignals.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneRoot.h>
#include <VXViewer/ui/ColorTheme.h>

#include <fmt/format.h>
#include <imgui.h>

namespace VX
{
namespace
{

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
    if ( const auto& history = sceneHistory() )
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
    addTelemetrySetting();
}

} // namespace VX
