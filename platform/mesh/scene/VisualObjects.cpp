#include <VXMesh/scene/VisualObjects.h>

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

} // namespace VX
