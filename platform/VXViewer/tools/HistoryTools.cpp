#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/window/Window.h>

namespace VX
{
namespace
{

class HistoryItem final : public RibbonMenuItem
{
public:
    HistoryItem( const char* name, HistoryAction::Type type )
        : RibbonMenuItem( name )
        , type_( type )
    {
    }

    /// The key by which redoing is known is its menu's.
    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override
    {
        if ( type_ == HistoryAction::Type::Undo )
            return {};
        return { { { 'Y', ControlModifier }, ShortcutManager::Category::Edit, true } };
    }

    bool action() override
    {
        if ( type_ == HistoryAction::Type::Undo && getViewerInstance().signals().undo() )
            return true;
        const auto& history = getViewerInstance().getHistoryStore();
        return history && ( type_ == HistoryAction::Type::Undo ? history->undo() : history->redo() );
    }
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& ) const override
    {
        const auto& history = getViewerInstance().getHistoryStore();
        const bool can = history && ( type_ == HistoryAction::Type::Undo ? history->canUndo() : history->canRedo() );
        if ( can )
            return {};
        return type_ == HistoryAction::Type::Undo ? "There is nothing to undo" : "There is nothing to redo";
    }
    [[nodiscard]] std::string dynamicTooltip() const override
    {
        const auto& history = getViewerInstance().getHistoryStore();
        return history ? history->getLastActionName( type_ ) : std::string();
    }

private:
    HistoryAction::Type type_;
};

const RibbonItemRegistrar<HistoryItem> cUndo( "Undo", HistoryAction::Type::Undo );
const RibbonItemRegistrar<HistoryItem> cRedo( "Redo", HistoryAction::Type::Redo );

} // namespace
} // namespace VX
