#pragma once

#include <VXMesh/scene/Mesh.h>
#include <VXMesh/scene/Object.h>

namespace VX
{

/// An object that is drawn: it has a colour, used where its geometry brings none of its own.
class VXMESH_API VisualObject : public Object
{
public:
    static constexpr Color cDefaultColor{ 172, 182, 194, 255 };

    [[nodiscard]] Color color() const { return color_; }
    void setColor( Color color );

private:
    Color color_ = cDefaultColor;
};

/// A surface. Geometry is shared: instances of one part hold the same `Mesh` and cost one copy in memory and on the
/// GPU.
class VXMESH_API ObjectMesh final : public VisualObject
{
public:
    [[nodiscard]] const std::shared_ptr<const Mesh>& mesh() const { return mesh_; }
    /// Takes a consistent mesh (see `isConsistent`); null empties the object.
    void setMesh( std::shared_ptr<const Mesh> mesh );
    [[nodiscard]] Box3f localBox() const override { return box_; }

private:
    std::shared_ptr<const Mesh> mesh_;
    Box3f box_;
};

class VXMESH_API ObjectPoints final : public VisualObject
{
public:
    [[nodiscard]] const std::shared_ptr<const PointCloud>& points() const { return points_; }
    void setPoints( std::shared_ptr<const PointCloud> points );
    [[nodiscard]] Box3f localBox() const override { return box_; }

private:
    std::shared_ptr<const PointCloud> points_;
    Box3f box_;
};

class VXMESH_API ObjectLines final : public VisualObject
{
public:
    [[nodiscard]] const std::shared_ptr<const Lines>& lines() const { return lines_; }
    void setLines( std::shared_ptr<const Lines> lines );
    [[nodiscard]] Box3f localBox() const override { return box_; }

private:
    std::shared_ptr<const Lines> lines_;
    Box3f box_;
};

/// A copy of an object and everything below it, with the same geometry, which is shared; nothing of it is selected.
[[nodiscard]] VXMESH_API std::shared_ptr<Object> cloneTree( const Object& object );

/// Calls `visit` with every object of a tree, parents first.
template <typename Visit>
void forEachObject( Object& root, const Visit& visit )
{
    visit( root );
    for ( const auto& child : root.children() )
        forEachObject( *child, visit );
}

} // namespace VX
