#include <VXViewer/schema/RibbonMenuItem.h>

namespace VX
{

RibbonMenuItem::RibbonMenuItem( std::string name )
    : name_( std::move( name ) )
{
}

RibbonMenuItem::~RibbonMenuItem() = default;

std::string_view RibbonMenuItem::isAvailable( const SelectedObjects& ) const
{
    return {};
}

void RibbonMenuItem::drawDialog() {}

bool StatePlugin::action()
{
    return enable( !active_ );
}

bool StatePlugin::enable( bool on )
{
    if ( on == active_ )
        return true;
    if ( on && !onEnable_() )
        return false;
    active_ = on;
    if ( !on )
        onDisable_();
    return true;
}

} // namespace VX
