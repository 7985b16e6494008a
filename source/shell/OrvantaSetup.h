#pragma once

#include <VXOrvanta/Export.h>
#include <VXViewer/core/ViewerSetup.h>

namespace VX
{

/// What the host hands to the viewer to make it Orvanta: the main menu and the window's title. No common modifiers and
/// no common plugins of the framework are installed.
///
///     #include <VXViewer/core/Viewer.h>
///
///     OrvantaSetup setup;
///     if ( getViewerInstance().start( { .appName = "Orvanta" }, setup ) )
///         getViewerInstance().run();
///     getViewerInstance().stop();
class VXORVANTA_API OrvantaSetup : public ViewerSetup
{
public:
    ~OrvantaSetup() override;

    void setupBasePlugins( Viewer* viewer ) const override;
    void setupConfiguration( Viewer* viewer ) const override;
};

} // namespace VX
