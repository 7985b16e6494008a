#pragma once

#include <VXViewer/Export.h>

#include <string>

namespace VX
{

/// Composes the text of the window's title bar: "part.step - Viewer 0.1.0.0".
///
/// Belongs to the viewer, UI thread. A product derives from it to say more.
///
/// The order of the virtual functions and of the members is the binary interface: products that are built already have
/// their own `compose` at this place, and their members behind these.
class VXVIEWER_API ViewerTitle
{
public:
    virtual ~ViewerTitle() = default;

    void setAppName( std::string name );
    void setVersion( std::string version );
    void setSceneName( std::string name );
    /// Marks the title with a star before it.
    void setUnsaved( bool unsaved );

    [[nodiscard]] virtual std::string compose() const;

protected:
    /// Composes the text anew and gives it to the window, when there is one.
    void update_();
    friend class Viewer;

private:
    void takeTexts_( const ViewerTitle& other );

    std::string appName_;
    std::string version_;
    std::string sceneName_;
    bool unsaved_ = false;
};

} // namespace VX
