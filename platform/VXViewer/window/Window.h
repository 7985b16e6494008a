#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXViewer/Export.h>
#include <VXViewer/window/WindowPlace.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VX
{

enum class MouseButton
{
    Left,
    Right,
    Middle
};

/// Bits as GLFW numbers them.
enum KeyModifiers
{
    ShiftModifier = 1,
    ControlModifier = 2,
    AltModifier = 4,
    SuperModifier = 8
};

/// What a window tells its owner; all on the UI thread, while events are waited for.
struct WindowEvents
{
    std::function<void( MouseButton, bool down, int modifiers )> mouseButton;
    /// In framebuffer pixels from the upper left corner.
    std::function<void( Vector2f position )> mouseMove;
    std::function<void( float steps )> mouseScroll;
    /// Key codes as GLFW numbers them.
    std::function<void( int key, bool down, bool repeat, int modifiers )> key;
    std::function<void( unsigned codePoint, int modifiers )> character;
    std::function<void( bool entered )> cursorEntrance;
    std::function<void( const std::vector<std::filesystem::path>& )> drop;
    std::function<void()> resize;
    std::function<void()> rescale;
    std::function<void()> closeRequest;
    /// Anything else that asks for a frame: the focus came or went, the window was uncovered.
    std::function<void()> refresh;
};

struct WindowOptions
{
    int width = 1280;
    int height = 800;
    std::string title;
    /// Where the window stood the last time. `follow` makes it as large for the eye as it was then, or `width` by
    /// `height` on a screen of scale 1, and keeps it on a screen; without it these are pixels.
    std::optional<WindowPlace> place;
    bool follow = false;
    /// Told the scale that the window will most likely have, before the long part of opening it begins; may be empty.
    std::function<void( float )> scaleExpected;
};

/// A screen in its own pixels, and how much larger than at 96 dots an inch the user wants things on it.
struct Monitor
{
    int width = 0;
    int height = 0;
    int scalingPercent = 100;
};

/// A place to draw in with an OpenGL 3.3 core context, current on the UI thread.
class VXVIEWER_API Window
{
public:
    virtual ~Window() = default;

    WindowEvents events;

    /// Sleeps until there is an event or `seconds` have passed (for ever when negative), and reports what came.
    virtual void waitEvents( double seconds ) = 0;
    /// Ends a running or the next `waitEvents`; any thread.
    virtual void postEmptyEvent() = 0;

    [[nodiscard]] virtual int width() const = 0;  ///< of the framebuffer, in pixels
    [[nodiscard]] virtual int height() const = 0; ///< of the framebuffer, in pixels
    /// How much larger than at 96 dots an inch things should be drawn.
    [[nodiscard]] virtual float scale() const = 0;
    [[nodiscard]] virtual bool isMinimized() const = 0;
    /// The screen with the most pixels; nothing where there is none.
    [[nodiscard]] virtual std::optional<Monitor> biggestMonitor() const { return {}; }
    /// The framebuffer object to draw into.
    [[nodiscard]] virtual unsigned framebuffer() const = 0;

    virtual void setTitle( const std::string& title ) = 0;
    virtual void show() = 0;
    /// Brings a minimised window back, or asks for attention otherwise.
    virtual void raise() {}
    /// Where the window stands, for opening it there the next time; nothing where it stands nowhere.
    [[nodiscard]] virtual std::optional<WindowPlace> place() const { return {}; }
    /// Tells Dear ImGui the size, the time and the input of the coming frame.
    virtual void newImGuiFrame() = 0;
    /// Takes this window out of Dear ImGui's context, which is about to go.
    virtual void endImGui() {}
    virtual void present() = 0;
};

/// A window on the desktop through GLFW. Fails with a text when there is no display or no OpenGL 3.3.
[[nodiscard]] tl::expected<std::unique_ptr<Window>, std::string> openDesktopWindow( const WindowOptions& options );

} // namespace VX
