#include <VXMesh/scene/Object.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace VX
{
namespace
{

void includeTree( const Object& object, const AffineXf3d& xf, bool visibleOnly, Box3d& box )
{
    if ( visibleOnly && !object.isVisible() )
        return;
    box.include( xf( object.localBox() ) );
    for ( const auto& child : object.children() )
        includeTree( *child, xf * child->xf(), visibleOnly, box );
}

} // namespace

Object::~Object()
{
    for ( const auto& child : children_ )
        child->parent_ = nullptr;
}

void Object::changed_()
{
    for ( Object* object = this; object; object = object->parent_ )
        ++object->revision_;
}

void Object::setName( std::string name )
{
    if ( name == name_ )
        return;
    name_ = std::move( name );
    changed_();
}

void Object::setXf( const AffineXf3d& xf )
{
    if ( xf == xf_ )
        return;
    xf_ = xf;
    changed_();
}

AffineXf3d Object::worldXf() const
{
    AffineXf3d out = xf_;
    for ( const Object* object = parent_; object; object = object->parent_ )
        out = object->xf_ * out;
    return out;
}

void Object::setVisible( bool on )
{
    if ( on == visible_ )
        return;
    visible_ = on;
    changed_();
}

bool Object::isGloballyVisible() const
{
    for ( const Object* object = this; object; object = object->parent_ )
        if ( !object->visible_ )
            return false;
    return true;
}

void Object::select( bool on )
{
    if ( on == selected_ )
        return;
    selected_ = on;
    changed_();
}

bool Object::addChild( std::shared_ptr<Object> child )
{
    return insertChild( std::move( child ), SIZE_MAX );
}

bool Object::insertChild( std::shared_ptr<Object> child, size_t index )
{
    for ( const Object* object = this; object; object = object->parent_ )
        if ( object == child.get() )
            return false;
    child->detach();
    child->parent_ = this;
    const auto place = std::min( index, children_.size() );
    children_.insert( children_.begin() + ptrdiff_t( place ), std::move( child ) );
    changed_();
    return true;
}

std::shared_ptr<Object> Object::detach()
{
    auto self = weak_from_this().lock();
    if ( !parent_ )
        return self;
    Object* parent = std::exchange( parent_, nullptr );
    // From the end, where those stand that are taken out one after the other.
    auto& siblings = parent->children_;
    const auto it =
        std::find_if( siblings.rbegin(), siblings.rend(), [this]( const auto& child ) { return child.get() == this; } );
    siblings.erase( std::next( it ).base() );
    parent->changed_();
    return self;
}

Box3d Object::treeBox( bool visibleOnly ) const
{
    Box3d box;
    includeTree( *this, worldXf(), visibleOnly, box );
    return box;
}

} // namespace VX
