#pragma once

#include <VXViewer/core/ViewerSetup.h>

namespace VX
{

/// A program with the framework's own menu: a `RibbonMenu` with the tools that the schema names.
class VXVIEWER_API RibbonSetup : public ViewerSetup
{
public:
    void setupBasePlugins( Viewer* viewer ) const override;
};

} // namespace VX
