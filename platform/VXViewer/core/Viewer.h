#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/core/ViewerSignals.h>
#include <VXViewer/draw/Overlay.h>
#include <VXViewer/draw/Screenshot.h>
#include <VXViewer/loop/Wake.h>

#include <boost/signals2/signal.hpp>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VX
{

class Camera;
class FrameSchedule;
class HistoryStore;
class ImGuiMenu;
class ViewerMenu;
class ViewerSetup;
class ViewerTitle;
struct DrawSettings;

struct LaunchParams
{
    std::string appName = "VX";
    std::string version;
    int width = 1280;
    int height = 800;
    /// Draws without a display, for pictures and tests.
    bool windowless = false;
    /// Draws no frames but the pictures that are asked for with `sceneImage`.
    bool picturesOnly = false;
    /// Opens the window with the size and at the place that it had when it was closed the last time; `width` and
    /// `height` are for the first time.
    bool rememberWindow = false;
    /// The program's arguments, without its name.
    std::vector<std::string> arguments;
};

/// A picture to take; width and height are in pixels, between 1 and `SceneView::cMaxPictureSide`.
struct PictureParams
{
    int width = 0;
    int height = 0;
    bool transparent = false;
};

/// The running viewer: one window, one scene, one menu, and the loop that sleeps until there is something to do.
///
/// There is one for the whole process, reached by `getViewerInstance`, which exists before and after it is started.
/// All operations belong to the UI thread, the one that started it, except `postEmptyEvent`.
///
///     auto& viewer = getViewerInstance();
///     if ( const auto started = viewer.start( { .appName = "Example" } ); !started )
///         return 1; // started.error() says why
///     viewer.run();
///     viewer.stop();
class VXVIEWER_API Viewer final : private LoopToWake
{
public:
    Viewer();
    ~Viewer();
    Viewer( const Viewer& ) = delete;
    Viewer& operator=( const Viewer& ) = delete;

    /// Opens the window, initialises the menu and draws the first frame. The error says why no window can be opened.
    [[nodiscard]] tl::expected<void, std::string> start( const LaunchParams& params );
    /// The same after calling the hooks of a setup, which must outlive `stop`.
    [[nodiscard]] tl::expected<void, std::string> start( const LaunchParams& params, ViewerSetup& setup );
    /// Turns the loop until the window is closed.
    void run();
    /// One turn of the loop: waits for events at most `seconds`, runs commands, draws where needed.
    void step( double seconds );
    /// Ends the menu, jobs and web requests (within about a second in all) and closes the window. Returns false when a
    /// worker thread could not be stopped in that time; the process should then end without running destructors.
    bool stop();

    [[nodiscard]] bool isRunning() const { return window_ != nullptr; }
    /// Closes the window unless a listener of `ViewerSignals::closeRequest` keeps it, to ask about unsaved work first.
    void requestClose();
    /// Ends `run` without asking anybody.
    void close() { closing_ = true; }
    [[nodiscard]] bool isClosing() const { return closing_; }

    /// Wakes the loop, so that a new frame is drawn; any thread, and without a started viewer it does nothing.
    void postEmptyEvent() override;
    /// Draws that many more frames; with `swapOnLastOnly` only the last is shown, the ones before it settle the layout.
    void incrementForceRedrawFrames( int frames = 1, bool swapOnLastOnly = false ) override;
    /// Draws a frame in that many seconds from now, unless one is asked for earlier.
    void requestFrameIn( double seconds ) override;

    /// The menu belongs to the viewer from here on; set it before `start`. Defined where `ImGuiMenu` is.
    void setMenuPlugin( std::shared_ptr<ImGuiMenu> menu );
    [[nodiscard]] const std::shared_ptr<ImGuiMenu>& getMenuPlugin() const { return plugin_; }

    /// Steps that the user can take back; null when there is no history.
    void setHistoryStore( std::shared_ptr<HistoryStore> store );
    [[nodiscard]] const std::shared_ptr<HistoryStore>& getHistoryStore() const { return history_; }

    /// Takes over name and version of the title that was there.
    void setViewerTitle( std::shared_ptr<ViewerTitle> title );
    [[nodiscard]] const std::shared_ptr<ViewerTitle>& viewerTitle() const { return title_; }
    void setWindowTitle( const std::string& title );

    [[nodiscard]] Object& sceneRoot() { return *root_; }
    [[nodiscard]] Camera& camera();
    [[nodiscard]] DrawSettings& drawSettings();
    /// Shows all visible objects.
    void fitScene();
    void fitBox( const Box3d& box );
    /// The object at a pixel of the window, or null.
    [[nodiscard]] Object* pick( Vector2f position );
    /// The point about which the user is turning the view at the moment.
    [[nodiscard]] std::optional<Vector3d> turningPoint() const;
    /// Surfaces that a tool shows over the scene, until the owner of this name sets others.
    void setOverlays( const std::string& owner, std::vector<Overlay> overlays );

    [[nodiscard]] float scale() const;
    /// Whether no frames are drawn but the pictures that are asked for.
    [[nodiscard]] bool isForPicturesOnly() const { return params_.picturesOnly; }
    /// The program's arguments; whoever has dealt with one may take it out.
    [[nodiscard]] std::vector<std::string>& arguments() { return params_.arguments; }
    [[nodiscard]] Window* window() { return window_.get(); }
    [[nodiscard]] uint64_t framesDrawn() const { return framesDrawn_; }

    /// The scene alone as the whole window shows it, without the interface, drawn now.
    [[nodiscard]] Image sceneImage();
    /// Pixels of the window that the interface leaves to the scene.
    [[nodiscard]] Vector2f freeSize() const;
    /// A picture of what the interface leaves to be seen of the scene, without selection and marks, drawn now.
    [[nodiscard]] tl::expected<Image, std::string> takePicture( const PictureParams& params );
    /// The last frame as it was shown; only of a windowless viewer.
    [[nodiscard]] Image frameImage();

    /// Events of window and input devices; see `ViewerSignals` for the order in which they are heard.
    [[nodiscard]] ViewerSignals& signals() { return signals_; }

    /// Once a frame, while Dear ImGui's frame is open.
    boost::signals2::signal<void()> perFrameSignal;
    /// Another history has taken the place of the former one, or none has.
    boost::signals2::signal<void()> historyReplacedSignal;
    /// The scene and its history have gone, before the window does.
    boost::signals2::signal<void()> sceneClosedSignal;
    /// Files were dropped on the window.
    boost::signals2::signal<void( const std::vector<std::filesystem::path>& )> filesDroppedSignal;

private:
    struct Drawing;

    void takeMenu_( std::shared_ptr<ImGuiMenu> plugin, ViewerMenu* menu );
    void connectWindow_();
    void connectInput_();
    void updateTheme_();
    void storeWindowPlace_();
    void drawFrame_();
    void buildInterface_();
    [[nodiscard]] std::optional<Vector3d> turningPointAt_( Vector2f position );
    [[nodiscard]] bool needsFrame_();

    LaunchParams params_;
    ViewerSetup* setup_ = nullptr;
    ViewerSignals signals_;
    std::shared_ptr<Object> root_;
    std::shared_ptr<ImGuiMenu> plugin_; ///< owns `menu_`
    ViewerMenu* menu_ = nullptr;
    std::shared_ptr<HistoryStore> history_;
    std::shared_ptr<ViewerTitle> title_;
    std::unique_ptr<Drawing> drawing_;
    std::unique_ptr<Window> window_;
    /// What other threads may touch; null while there is no window.
    std::atomic<Window*> wakeable_{ nullptr };
    std::atomic<int> waking_{ 0 };
    const std::unique_ptr<FrameSchedule> frames_;
    bool closing_ = false;
    uint64_t framesDrawn_ = 0;
};

/// The viewer of this process.
[[nodiscard]] VXVIEWER_API Viewer& getViewerInstance();

} // namespace VX
