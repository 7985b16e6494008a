#include <VXViewer/history/HistoryStore.h>

#include <algorithm>

namespace VX
{

void HistoryStore::appendAction( std::shared_ptr<HistoryAction> action )
{
    append_( std::move( action ), false );
}

void HistoryStore::appendOpening( std::shared_ptr<HistoryAction> action )
{
    append_( std::move( action ), isSaved() );
}

void HistoryStore::append_( std::shared_ptr<HistoryAction> action, bool leavesSaved )
{
    actions_.resize( done_ );
    if ( saved_ && saved_->first > done_ )
        saved_.reset();
    if ( saved_ )
        saved_->last = std::min( saved_->last, done_ );
    actions_.push_back( std::move( action ) );
    if ( actions_.size() > cMaxActions )
        dropOldest_();
    done_ = actions_.size();
    if ( leavesSaved )
        saved_ = { saved_ ? saved_->first : done_, done_ };
    changedSignal( *this, ChangeType::AppendAction );
}

void HistoryStore::dropOldest_()
{
    actions_.erase( actions_.begin() );
    if ( saved_ && saved_->last == 0 )
        saved_.reset();
    if ( saved_ )
        saved_ = { saved_->first - std::min<size_t>( saved_->first, 1 ), saved_->last - 1 };
}

void HistoryStore::markSaved()
{
    saved_ = { done_, done_ };
    changedSignal( *this, ChangeType::Save );
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
    saved_ = SavedPlaces{};
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
