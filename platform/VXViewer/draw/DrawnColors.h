#pragma once

#include <VXMesh/math/Color.h>
#include <VXViewer/Export.h>

namespace VX
{

/// What a selected object is tinted with: the highlight, or its opposite where the object has that colour itself.
[[nodiscard]] VXVIEWER_API Color tintFor( Color object, Color highlight );

/// A colour whose channels are that part of what they were.
[[nodiscard]] VXVIEWER_API Color darker( Color color, float part );

/// How the lines of a mesh's triangles are drawn.
struct LineLook
{
    bool hidesBehind = false; ///< lines behind the surface are not seen
    bool filled = false;      ///< a faint surface in their place
    float opacity = 1;
    bool operator==( const LineLook& ) const = default;
};

/// The closer the lines are the fainter is each, and those behind are hidden, so that the shape stays visible; where
/// there is no room between them for anything else, they are a faint surface. `pixels` are between the ends of a line.
[[nodiscard]] VXVIEWER_API LineLook lineLook( float pixels );

} // namespace VX
