#pragma once

#include <VXViewer/Export.h>

#include <array>
#include <vector>

namespace VX
{

/// How much room a group of tools takes in the ribbon.
enum class RibbonGroupSize
{
    Full,  ///< large buttons with their captions below
    Small, ///< three rows of small drawings with captions
    Icons, ///< three rows of small drawings
    Folded ///< one button that opens the group as a popup
};

/// Widths of a group in each size, in pixels.
using RibbonGroupWidths = std::array<float, 4>;

/// Sizes at which groups fit into a width: as large as can be, and those at the right are made smaller first.
[[nodiscard]] VXVIEWER_API std::vector<RibbonGroupSize> fitRibbonGroups(
    const std::vector<RibbonGroupWidths>& groups, float available );

} // namespace VX
