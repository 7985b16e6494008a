#pragma once

#include <VXViewer/history/HistoryAction.h>

#include <boost/signals2/signal.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VX
{

/// The steps that the user has taken, in order, with the place between those that are done and those taken back.
///
/// A step appended after some were taken back replaces those. The oldest go when there are more than `cMaxActions`.
/// It also knows at which places everything stands in files, so that nothing is lost when the scene goes. UI thread.
class VXVIEWER_API HistoryStore
{
public:
    static constexpr size_t cMaxActions = 500;

    enum class ChangeType
    {
        AppendAction,
        Undo,
        Redo,
        Clear,
        Save
    };

    void appendAction( std::shared_ptr<HistoryAction> action );
    /// Appends a step that brings in what stands in a file already: where nothing was unsaved before it, nothing is
    /// after it.
    void appendOpening( std::shared_ptr<HistoryAction> action );
    /// False when there is nothing to take back.
    bool undo();
    /// False when nothing was taken back.
    bool redo();
    /// Forgets all steps; nothing is unsaved then.
    void clear();

    /// Everything has been written to a file: this place, and no other, is the saved one from here on.
    void markSaved();
    /// Whether the place between done and taken back is a saved one.
    [[nodiscard]] bool isSaved() const { return saved_ && saved_->first <= done_ && done_ <= saved_->last; }

    /// Name of the step that `undo` or `redo` would take; empty when there is none.
    [[nodiscard]] std::string getLastActionName( HistoryAction::Type type ) const;
    /// Names of these steps, the next one first.
    [[nodiscard]] std::vector<std::string> getActionNames( HistoryAction::Type type ) const;
    [[nodiscard]] bool canUndo() const { return done_ > 0; }
    [[nodiscard]] bool canRedo() const { return done_ < actions_.size(); }

    /// After each change.
    boost::signals2::signal<void( const HistoryStore&, ChangeType )> changedSignal;

private:
    /// The places from the one that was written to a file to the last opening that followed at once.
    struct SavedPlaces
    {
        size_t first = 0;
        size_t last = 0;
    };

    void append_( std::shared_ptr<HistoryAction> action, bool leavesSaved );
    void dropOldest_();

    std::vector<std::shared_ptr<HistoryAction>> actions_;
    size_t done_ = 0;
    /// Nothing when that place cannot be reached any more.
    std::optional<SavedPlaces> saved_ = SavedPlaces{};
};

} // namespace VX
