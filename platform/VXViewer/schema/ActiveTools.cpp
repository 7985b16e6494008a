#include <VXViewer/schema/ActiveTools.h>

#include <algorithm>

namespace VX
{

bool ActiveTools::press( const Item& item )
{
    if ( const auto former = blocking_; former && former != item && !item->isActive() && item->blocking() )
    {
        former->action();
        update( former );
    }
    const bool done = item->action();
    update( item );
    return done;
}

void ActiveTools::update( const Item& item )
{
    if ( !item->isActive() )
    {
        if ( blocking_ == item )
            blocking_ = nullptr;
        std::erase( others_, item );
        return;
    }
    if ( item->isToggle() )
        return;
    if ( item->blocking() )
        blocking_ = item;
    else if ( std::find( others_.begin(), others_.end(), item ) == others_.end() )
        others_.push_back( item );
}

void ActiveTools::endAll()
{
    while ( const auto item = topmost() )
    {
        item->action();
        update( item );
        // One that will not end is let go all the same.
        if ( blocking_ == item )
            blocking_ = nullptr;
        std::erase( others_, item );
    }
}

ActiveTools::Item ActiveTools::topmost() const
{
    if ( blocking_ )
        return blocking_;
    return others_.empty() ? nullptr : others_.back();
}

} // namespace VX
