#pragma once

#include <VXViewer/ribbon/RibbonItemHost.h>
#include <VXViewer/ribbon/SceneObjectsListDrawer.h>

#include <boost/signals2/signal.hpp>

#include <span>

namespace VX
{

/// The scene list of a ribbon menu: its context menu offers the tools of the ribbon. UI thread.
class VXVIEWER_API RibbonSceneObjectsListDrawer final : public SceneObjectsListDrawer
{
public:
    /// The host must outlive this object.
    explicit RibbonSceneObjectsListDrawer( RibbonItemHost& host )
        : host_( host )
    {
    }

    /// Every frame in which the context menu is drawn, from within its window.
    boost::signals2::signal<void()> onDrawContextSignal;

    /// Names of the tools in the context menu of an object, or of the list's empty part. Those that do not exist are
    /// left out.
    [[nodiscard]] static std::span<const char* const> contextTools( bool ofObject );

private:
    void drawRowExtras_( Object& object ) override;
    void drawEmptyExtras_( Object& root ) override;
    void drawContextMenu_( Object* object );

    RibbonItemHost& host_;
};

} // namespace VX
