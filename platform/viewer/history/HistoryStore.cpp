#include <VXViewer/history/HistoryStore.h>

namespace VX
{

void HistoryStore::appendAction( std::shared_ptr<HistoryAction> action )
{
    actions_.resize( done_ );
    actions_.push_back( std::move( action ) );
    if ( actions_.size() > cMaxActions )
        actions_.erase( actions_.begin() );
    done_ = actions_.size();
    changedSignal( *this, ChangeType::AppendAction );
}

bool HistoryStore::undo()
{
    if ( !canUndo() )
        return false;
    actions_[--done_]->action( HistoryAction::Type::Undo );
    changedSignal( *this, ChangeType::Undo );
    return true;
}

bool HistoryStore::redo()
{
    if ( !canRedo() )
        return false;
    actions_[done_++]->action( HistoryAction::Type::Redo );
    changedSignal( *this, ChangeType::Redo );
    return true;
}

void HistoryStore::clear()
{
    if ( actions_.empty() )
        return;
    actions_.clear();
    done_ = 0;
    changedSignal( *this, ChangeType::Clear );
}

std::string HistoryStore::getLastActionName( HistoryAction::Type type ) const
{
    if ( type == HistoryAction::Type::Undo )
        return canUndo() ? actions_[done_ - 1]->name() : std::string();
    return canRedo() ? actions_[done_]->name() : std::string();
}

std::vector<std::string> HistoryStore::getActionNames( HistoryAction::Type type ) const
{
    std::vector<std::string> out;
    if ( type == HistoryAction::Type::Undo )
        for ( size_t i = done_; i > 0; --i )
            out.push_back( actions_[i - 1]->name() );
    else
        for ( size_t i = done_; i < actions_.size(); ++i )
            out.push_back( actions_[i]->name() );
    return out;
}

} // namespace VX
