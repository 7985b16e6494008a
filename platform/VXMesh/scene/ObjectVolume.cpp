#include <VXMesh/scene/ObjectVolume.h>

namespace VX
{

void ObjectVolume::setVolume( std::shared_ptr<const Volume> volume )
{
    volume_ = std::move( volume );
    box_ = volume_ ? Box3f( volume_->box() ) : Box3f{};
    changed_();
}

} // namespace VX
