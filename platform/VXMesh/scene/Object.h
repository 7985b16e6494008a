#pragma once

#include <VXMesh/Export.h>
#include <VXMesh/math/AffineXf3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace VX
{

/// A node of the scene tree: a name, a placement relative to its parent, and children.
///
/// Placements are double and geometry is float: what lies far from zero, as survey coordinates do, has an origin of its
/// own in its placement and geometry relative to that (see `originFor`).
///
/// A parent owns its children by shared pointers; a child knows its parent by a plain pointer that is reset when it
/// is detached. Objects have no locks: a tree belongs to one thread at a time, the UI thread once it is in the scene.
///
///     const auto group = std::make_shared<Object>(), part = std::make_shared<Object>();
///     part->setName( "Part" );
///     part->setXf( { .b = { 0, 0, 10 } } );
///     group->addChild( part );
class VXMESH_API Object : public std::enable_shared_from_this<Object>
{
public:
    Object() = default;
    Object( const Object& ) = delete;
    Object& operator=( const Object& ) = delete;
    virtual ~Object();

    [[nodiscard]] const std::string& name() const { return name_; }
    void setName( std::string name );

    [[nodiscard]] const AffineXf3d& xf() const { return xf_; }
    void setXf( const AffineXf3d& xf );
    /// From this object's space to the root's.
    [[nodiscard]] AffineXf3d worldXf() const;

    [[nodiscard]] bool isVisible() const { return visible_; }
    void setVisible( bool on );
    /// Whether this object and all its ancestors are visible.
    [[nodiscard]] bool isGloballyVisible() const;

    [[nodiscard]] bool isSelected() const { return selected_; }
    void select( bool on );

    [[nodiscard]] Object* parent() const { return parent_; }
    [[nodiscard]] const std::vector<std::shared_ptr<Object>>& children() const { return children_; }
    /// Appends a child, taking it from its former parent; false, and nothing done, when that would make a cycle.
    bool addChild( std::shared_ptr<Object> child );
    /// The same at a place among the children; beyond their end it is appended.
    bool insertChild( std::shared_ptr<Object> child, size_t index );
    /// Takes this object out of its parent; the returned pointer keeps it alive.
    std::shared_ptr<Object> detach();

    /// Box of this object's own geometry in its own space; empty for a mere group.
    [[nodiscard]] virtual Box3f localBox() const { return {}; }
    /// Box of this object and everything below it in the root's space; `visibleOnly` leaves hidden branches out.
    [[nodiscard]] Box3d treeBox( bool visibleOnly = false ) const;

    /// Grows with every change to this object or below it; equal numbers mean that nothing needs to be drawn anew.
    [[nodiscard]] uint64_t revision() const { return revision_; }

protected:
    void changed_();

private:
    std::string name_;
    AffineXf3d xf_;
    bool visible_ = true;
    bool selected_ = false;
    Object* parent_ = nullptr;
    std::vector<std::shared_ptr<Object>> children_;
    uint64_t revision_ = 1;
};

} // namespace VX
