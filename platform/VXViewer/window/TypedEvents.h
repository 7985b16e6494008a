#pragma once

#include <VXViewer/Export.h>

#include <deque>
#include <vector>

namespace VX
{

/// A key's event as GLFW tells it, or a character when `codePoint` is not 0.
struct TypedEvent
{
    int key = 0, scancode = 0, action = 0, modifiers = 0;
    unsigned codePoint = 0;
    bool operator==( const TypedEvent& ) const = default;
};

/// What was typed and waits for a frame.
///
/// Dear ImGui looks at the keyboard once a frame and knows no order within it. So a key that was pressed and let go
/// between two frames is told over two, and so are characters before and after one that acts by itself. UI thread.
class VXVIEWER_API TypedEvents
{
public:
    void add( const TypedEvent& event ) { waiting_.push_back( event ); }
    /// What the coming frame is told, in order; the rest waits for the one after it.
    [[nodiscard]] std::vector<TypedEvent> takeForFrame();
    [[nodiscard]] bool isEmpty() const { return waiting_.empty(); }

private:
    std::deque<TypedEvent> waiting_;
};

} // namespace VX
