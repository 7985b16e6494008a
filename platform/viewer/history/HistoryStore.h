#pragma once

#include <VXViewer/history/HistoryAction.h>

#include <boost/signals2/signal.hpp>

#include <memory>
#include <string>
#include <vector>

namespace VX
{

/// The steps that the user has taken, in order, with the place between those that are done and those taken back.
///
/// A step appended after some were taken back replaces those. The oldest go when there are more than `cMaxActions`.
/// UI thread.
class VXVIEWER_API HistoryStore
{
public:
    static constexpr size_t cMaxActions = 500;

    enum class ChangeType
    {
        AppendAction,
        Undo,
        Redo,
        Clear
    };

    void appendAction( std::shared_ptr<HistoryAction> action );
    /// False when there is nothing to take back.
    bool undo();
    /// False when nothing was taken back.
    bool redo();
    void clear();

    /// Name of the step that `undo` or `redo` would take; empty when there is none.
    [[nodiscard]] std::string getLastActionName( HistoryAction::Type type ) const;
    /// Names of these steps, the next one first.
    [[nodiscard]] std::vector<std::string> getActionNames( HistoryAction::Type type ) const;
    [[nodiscard]] bool canUndo() const { return done_ > 0; }
    [[nodiscard]] bool canRedo() const { return done_ < actions_.size(); }

    /// After each change.
    boost::signals2::signal<void( const HistoryStore&, ChangeType )> changedSignal;

private:
    std::vector<std::shared_ptr<HistoryAction>> actions_;
    size_t done_ = 0;
};

} // namespace VX
