#pragma once

#include <VXViewer/window/Window.h>

#include <condition_variable>
#include <deque>
#include <mutex>

namespace VX
{

/// A window without a display: draws into a framebuffer through EGL's surfaceless platform. Input is fed in by calls,
/// which makes it the window of pictures from the command line and of interface tests.
class VXVIEWER_API OffscreenWindow final : public Window
{
public:
    [[nodiscard]] static tl::expected<std::unique_ptr<OffscreenWindow>, std::string> open(
        const WindowOptions& options );
    ~OffscreenWindow() override;

    void waitEvents( double seconds ) override;
    void postEmptyEvent() override;
    [[nodiscard]] int width() const override { return width_; }
    [[nodiscard]] int height() const override { return height_; }
    [[nodiscard]] float scale() const override { return scale_; }
    [[nodiscard]] bool isMinimized() const override { return false; }
    [[nodiscard]] unsigned framebuffer() const override { return framebuffer_; }
    void setTitle( const std::string& title ) override { title_ = title; }
    void show() override {}
    void newImGuiFrame() override;
    void present() override;

    [[nodiscard]] const std::string& title() const { return title_; }

    /// Input of a test; it is reported by the next `waitEvents`, one event each.
    void moveMouse( Vector2f position );
    void pressMouse( MouseButton button, bool down, int modifiers = 0 );
    void scroll( float steps );
    void pressKey( int key, bool down, int modifiers = 0, bool repeat = false );
    void enterCursor( bool entered );
    void type( const std::string& text );
    void drop( std::vector<std::filesystem::path> files );
    void requestClose();
    void resize( int width, int height, float scale = 1 );

private:
    OffscreenWindow() = default;
    [[nodiscard]] tl::expected<void, std::string> createContext_();
    void createFramebuffer_();
    void push_( std::function<void()> event );

    void* display_ = nullptr;
    void* context_ = nullptr;
    unsigned framebuffer_ = 0;
    unsigned color_ = 0;
    int width_ = 0;
    int height_ = 0;
    float scale_ = 1;
    std::string title_;
    double lastTime_ = 0;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool posted_ = false;
    std::deque<std::function<void()>> queue_;
};

} // namespace VX
