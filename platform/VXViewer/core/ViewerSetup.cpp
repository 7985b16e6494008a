#include <VXViewer/core/ViewerSetup.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

namespace VX
{

ViewerSetup::~ViewerSetup() = default;

void ViewerSetup::setupBasePlugins( Viewer* ) const {}

void ViewerSetup::setupCommonModifiers( Viewer* ) const {}

void ViewerSetup::setupCommonPlugins( Viewer* ) const {}

void ViewerSetup::setupSettingsManager( Viewer*, const std::string& appName )
{
    setUserConfigName( appName );
    Config::instance().reload();
}

void ViewerSetup::setupConfiguration( Viewer* viewer ) const
{
    viewer->setViewerTitle( std::make_shared<ViewerTitle>() );
}

void ViewerSetup::setupExtendedLibraries() const {}

void ViewerSetup::unloadExtendedLibraries() const {}

} // namespace VX
