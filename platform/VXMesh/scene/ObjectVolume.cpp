#include <VXMesh/scene/ObjectVolume.h>

#include <VXMesh/volume/VolumeStatistics.h>

#include <algorithm>

namespace VX
{

void ObjectVolume::setVolume( std::shared_ptr<const Volume> volume )
{
    const bool sameSize = volume && volume_ && volume->size() == volume_->size();
    volume_ = std::move( volume );
    box_ = volume_ ? Box3f( volume_->box() ) : Box3f{};
    if ( !sameSize )
        for ( size_t i = 0; i < cursor_.size(); ++i )
            cursor_[i] = volume_ ? volume_->size()[i] / 2 : 0;
    changed_();
}

void ObjectVolume::setCursor( const VoxelIndex& voxel )
{
    if ( !volume_ || volume_->empty() )
        return;
    VoxelIndex held = voxel;
    for ( size_t i = 0; i < held.size(); ++i )
        held[i] = std::clamp( held[i], 0, volume_->size()[i] - 1 );
    if ( held == cursor_ )
        return;
    cursor_ = held;
    changed_();
}

void ObjectVolume::setWindow( const VolumeWindow& window )
{
    if ( !volume_ || window.width <= 0 || window == volume_->meaning().window )
        return;
    auto meaning = volume_->meaning();
    meaning.window = window;
    volume_ = std::make_shared<Volume>( volume_->with( std::move( meaning ) ) );
    changed_();
}

std::shared_ptr<ObjectVolume> makeObjectVolume( Volume volume )
{
    auto out = std::make_shared<ObjectVolume>();
    const auto window = windowOf( volume );
    out->setVolume( std::make_shared<Volume>( std::move( volume ) ) );
    out->setWindow( window );
    return out;
}

} // namespace VX
