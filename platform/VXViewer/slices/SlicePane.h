#pragma once

#include <VXMesh/scene/ObjectVolume.h>
#include <VXViewer/draw/SlicePicture.h>
#include <VXViewer/slices/SliceLayout.h>

#include <optional>

namespace VX
{

/// The slices of one direction in a part of a window. A press or drag puts the volume's cursor where the pointer is,
/// the wheel and the arrow keys go from slice to slice, Control and the wheel come closer, a drag with the middle
/// button moves what is seen and one with the right button changes window and level. UI thread, within a frame.
class SlicePane
{
public:
    explicit SlicePane( SliceDirection direction )
        : direction_( direction )
    {
    }

    /// At the cursor of the window, of this size in pixels.
    void draw( ObjectVolume& object, Vector2f size );
    /// What the pointer was over in the last frame.
    [[nodiscard]] const std::optional<VoxelIndex>& hovered() const { return hovered_; }
    /// Whether it was pressed twice in the last frame.
    [[nodiscard]] bool wasDoubleClicked() const { return doubleClicked_; }
    /// Shows the whole slice.
    void reset() { layout_.reset(); }

private:
    void listen_( ObjectVolume& object, Vector2f corner );
    void step_( ObjectVolume& object, int steps ) const;
    void drawPicture_( const ObjectVolume& object, Vector2f corner, Vector2f size );
    void drawCursor_( const ObjectVolume& object, Vector2f corner, Vector2f size ) const;
    void drawTitle_( const ObjectVolume& object, Vector2f corner ) const;

    SliceDirection direction_;
    OrientedSlice slice_;
    SliceLayout layout_;
    SlicePicture picture_;
    std::optional<VoxelIndex> hovered_;
    bool doubleClicked_ = false;
};

/// "Axial", "Coronal" or "Sagittal".
[[nodiscard]] const char* nameOf( SliceDirection direction );

} // namespace VX
