#include <VXMesh/scene/VisualObjects.h>

#include <VXMesh/scene/ObjectVolume.h>

namespace VX
{

void VisualObject::setColor( Color color )
{
    if ( color == color_ )
        return;
    color_ = color;
    changed_();
}

void ObjectMesh::setMesh( std::shared_ptr<const Mesh> mesh )
{
    mesh_ = std::move( mesh );
    box_ = mesh_ ? mesh_->box() : Box3f{};
    changed_();
}

void ObjectPoints::setPoints( std::shared_ptr<const PointCloud> points )
{
    points_ = std::move( points );
    box_ = points_ ? points_->box() : Box3f{};
    changed_();
}

void ObjectLines::setLines( std::shared_ptr<const Lines> lines )
{
    lines_ = std::move( lines );
    box_ = lines_ ? lines_->box() : Box3f{};
    changed_();
}

namespace
{

std::shared_ptr<Object> cloneAlone( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ) )
    {
        auto out = std::make_shared<ObjectMesh>();
        out->setMesh( mesh->mesh() );
        out->setColor( mesh->color() );
        return out;
    }
    if ( const auto* points = dynamic_cast<const ObjectPoints*>( &object ) )
    {
        auto out = std::make_shared<ObjectPoints>();
        out->setPoints( points->points() );
        out->setColor( points->color() );
        return out;
    }
    if ( const auto* lines = dynamic_cast<const ObjectLines*>( &object ) )
    {
        auto out = std::make_shared<ObjectLines>();
        out->setLines( lines->lines() );
        out->setColor( lines->color() );
        return out;
    }
    if ( const auto* volume = dynamic_cast<const ObjectVolume*>( &object ) )
    {
        auto out = std::make_shared<ObjectVolume>();
        out->setVolume( volume->volume() );
        out->setCursor( volume->cursor() );
        out->setColor( volume->color() );
        return out;
    }
    return std::make_shared<Object>();
}

} // namespace

std::shared_ptr<Object> cloneTree( const Object& object )
{
    auto out = cloneAlone( object );
    out->setName( object.name() );
    out->setXf( object.xf() );
    out->setVisible( object.isVisible() );
    for ( const auto& child : object.children() )
        out->addChild( cloneTree( *child ) );
    return out;
}

} // namespace VX
