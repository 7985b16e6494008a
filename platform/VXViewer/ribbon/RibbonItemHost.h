#pragma once

#include <VXViewer/schema/RibbonSchema.h>

namespace VX
{

/// What the panels of the ribbon ask of the menu that they belong to.
class RibbonItemHost
{
public:
    virtual ~RibbonItemHost() = default;
    /// The button of a tool was pressed.
    virtual void press( const std::shared_ptr<RibbonMenuItem>& item ) = 0;
    /// Why a tool cannot be used now; empty when it can.
    [[nodiscard]] virtual std::string_view requirements( const std::shared_ptr<RibbonMenuItem>& item ) = 0;
    /// "Ctrl+Z", or empty.
    [[nodiscard]] virtual std::string shortcut( const std::string& itemName ) = 0;
};

} // namespace VX
