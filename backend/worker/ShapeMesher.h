#pragma once

#include "worker/FaceShares.h"
#include "worker/PartMesh.h"

#include <VXMesh/scene/VisualObjects.h>

#include <NCollection_DataMap.hxx>
#include <Quantity_Color.hxx>
#include <TopTools_ShapeMapHasher.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>

namespace VX::Backend
{

[[nodiscard]] Color toColor( const Quantity_Color& color );

/// Colours of single faces of a part.
class FaceColors
{
public:
    /// Colours every face of a shape; a face's own colour wins over that of a shape around it.
    void add( const TopoDS_Shape& shape, Color color );
    [[nodiscard]] Color of( const TopoDS_Face& face, Color fallback ) const;
    [[nodiscard]] bool empty() const { return colors_.IsEmpty(); }

private:
    struct Entry
    {
        Color color;
        bool own = false;
    };
    NCollection_DataMap<TopoDS_Shape, Entry, TopTools_ShapeMapHasher> colors_;
};

/// The mesh of a shape whose faces have been tessellated; its mesh is null when it has none. Faces keep their own
/// points, so that creases stay sharp; the edges between faces become lines, seams and degenerate edges left out.
/// Placeholders are left out.
[[nodiscard]] PartMesh meshFromShape(
    const TopoDS_Shape& shape, const FaceColors& colors, Color fallback, const FaceRoles& roles );

} // namespace VX::Backend
