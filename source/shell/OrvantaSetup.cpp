#include <VXOrvanta/shell/OrvantaSetup.h>

#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/shell/OrvantaWindowTitle.h>
#include <VXViewer/core/Viewer.h>

namespace VX
{

OrvantaSetup::~OrvantaSetup() = default;

void OrvantaSetup::setupBasePlugins( Viewer* viewer ) const
{
    viewer->setMenuPlugin( std::make_shared<OrvantaRibbonMenu>() );
}

void OrvantaSetup::setupConfiguration( Viewer* viewer ) const
{
    ViewerSetup::setupConfiguration( viewer );
    viewer->setViewerTitle( std::make_shared<OrvantaWindowTitle>() );
}

} // namespace VX
