#pragma once

#include <VXViewer/Export.h>

#include <string>

namespace VX
{

class Viewer;

/// What a program is made of: derive from it and hand it to `Viewer::start`, which calls the hooks on the UI thread.
///
/// In this order: `setupSettingsManager`, `setupConfiguration`, `setupBasePlugins`, `setupCommonModifiers`,
/// `setupCommonPlugins`, `setupExtendedLibraries`; then the window opens, the menu is initialised and the first frame
/// is drawn. `unloadExtendedLibraries` comes last, when the window has gone. The setup must outlive `Viewer::stop`.
///
/// They are declared in another order than they are called in, and that one is the binary interface: programs that are
/// built already have their own hooks at these places.
class VXVIEWER_API ViewerSetup
{
public:
    virtual ~ViewerSetup();

    /// Installs the menu; here none, see `RibbonSetup`.
    virtual void setupBasePlugins( Viewer* viewer ) const;
    /// For tools that change objects; empty here.
    virtual void setupCommonModifiers( Viewer* viewer ) const;
    /// For tools that only look; empty here.
    virtual void setupCommonPlugins( Viewer* viewer ) const;
    /// Names the folder of the user's settings after the program and reads them.
    virtual void setupSettingsManager( Viewer* viewer, const std::string& appName );
    /// Sets the viewer up before its window opens; here its title.
    virtual void setupConfiguration( Viewer* viewer ) const;
    /// For libraries that bring further tools; empty here.
    virtual void setupExtendedLibraries() const;
    virtual void unloadExtendedLibraries() const;
};

} // namespace VX
