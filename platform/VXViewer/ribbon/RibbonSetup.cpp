#include <VXViewer/ribbon/RibbonSetup.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/ribbon/RibbonMenu.h>

namespace VX
{

void RibbonSetup::setupBasePlugins( Viewer* viewer ) const
{
    viewer->setMenuPlugin( std::make_shared<RibbonMenu>() );
}

} // namespace VX
