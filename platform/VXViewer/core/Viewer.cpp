#include <VXViewer/core/Viewer.h>

#include <VXViewer/core/CameraController.h>
#include <VXViewer/core/FrameSchedule.h>
#include <VXViewer/core/SpaceMouse.h>
#include <VXViewer/core/ViewerMenu.h>
#include <VXViewer/core/ViewerSetup.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/SceneView.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/loop/Clock.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/ImGuiContextOwner.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/RibbonFontManager.h>
#include <VXViewer/web/WebRequest.h>
#include <VXViewer/window/OffscreenWindow.h>
#include <VXViewer/work/ProgressBar.h>

#include <epoxy/gl.h>
#include <imgui.h>

#include <cmath>
#include <thread>

namespace VX
{
namespace
{

constexpr const char* cWindowPlaceKey = "window";

/// Opens the window, while another thread rasterises the fonts of its menu.
tl::expected<std::unique_ptr<Window>, std::string> openWindow( const LaunchParams& params, ViewerMenu* menu )
{
    WindowOptions options;
    options.width = params.width;
    options.height = params.height;
    options.title = params.appName;
    options.follow = params.rememberWindow;
    if ( params.rememberWindow )
        options.place = windowPlaceFromJson( Config::instance().getJsonValue( cWindowPlaceKey ) );
    if ( menu )
        options.scaleExpected = [menu]( float scale ) { menu->loadFontsAhead( scale ); };
    if ( !params.windowless )
        return openDesktopWindow( options );
    auto window = OffscreenWindow::open( options );
    if ( !window )
        return tl::unexpected( window.error() );
    return std::unique_ptr<Window>( std::move( *window ) );
}

} // namespace

/// What exists only while there is a window.
struct Viewer::Drawing
{
    Drawing( Viewer& viewer, std::shared_ptr<Object> root )
        : view( std::move( root ) )
        , controller( viewer, view.camera() )
    {
    }
    SceneView view;
    CameraController controller;
    ImGuiContextOwner imgui;
    SpaceMouse spaceMouse;
    boost::signals2::scoped_connection themeChanges;
    /// Of the frame before; nothing before the first.
    std::optional<Camera::Area> area;
    float scale = 1;

    /// A panel that is put away by hand leaves the model where it is, a window that changes does not.
    void keepModelInMiddle( const Camera::Area& now, float nowScale )
    {
        if ( area && ( area->size != now.size || scale != nowScale ) )
            view.camera().keepInMiddle( *area, now );
        area = now;
        scale = nowScale;
    }
};

Viewer& getViewerInstance()
{
    // Never destroyed: other threads may wake it until the process is gone.
    static auto* sViewer = new Viewer;
    return *sViewer;
}

Viewer::Viewer()
    : root_( std::make_shared<Object>() )
    , history_( std::make_shared<HistoryStore>() )
    , title_( std::make_shared<ViewerTitle>() )
    , frames_( std::make_unique<FrameSchedule>() )
{
    root_->setName( "Scene" );
    setLoopToWake( this );
}

Viewer::~Viewer()
{
    setLoopToWake( nullptr );
}

tl::expected<void, std::string> Viewer::start( const LaunchParams& params, ViewerSetup& setup )
{
    setup_ = &setup;
    params_ = params;
    // What the hooks queue is run once the viewer is up.
    CommandLoop::open();
    resumeWebRequests();
    setup.setupSettingsManager( this, params.appName );
    setup.setupConfiguration( this );
    setup.setupBasePlugins( this );
    setup.setupCommonModifiers( this );
    setup.setupCommonPlugins( this );
    setup.setupExtendedLibraries();
    return start( params );
}

tl::expected<void, std::string> Viewer::start( const LaunchParams& params )
{
    params_ = params;
    closing_ = false;
    resumeWebRequests();
    auto window = openWindow( params, menu_ );
    if ( !window )
        return tl::unexpected( window.error() );
    window_ = std::move( *window );
    if ( menu_ )
        menu_->fontManager().finishAhead();
    wakeable_ = window_.get();
    CommandLoop::open();
    drawing_ = std::make_unique<Drawing>( *this, root_ );
    connectWindow_();
    updateTheme_();
    drawing_->themeChanges = ColorTheme::onChanged( [this] { updateTheme_(); } );
    title_->setAppName( params.appName );
    title_->setVersion( params.version );
    if ( menu_ )
        menu_->init( this );
    if ( !params_.picturesOnly )
    {
        // The layout of a window settles in its second frame.
        frames_->restart( 2 );
        drawFrame_();
    }
    window_->show();
    drawing_->spaceMouse.start( signals() );
    return {};
}

void Viewer::run()
{
    while ( !closing_ )
        step( -1 );
}

bool Viewer::stop()
{
    constexpr auto cPatience = std::chrono::milliseconds( 1000 );
    if ( menu_ )
        menu_->shutdown();
    ProgressBar::cancel();
    CommandLoop::close();
    bool clean = finishWebRequests( cPatience );
    clean = ( !menu_ || menu_->finish( cPatience ) ) && clean;
    clean = ProgressBar::shutdown( cPatience ) && clean;
    if ( history_ )
        history_->clear();
    sceneClosedSignal();
    root_ = std::make_shared<Object>();
    root_->setName( "Scene" );
    if ( window_ )
    {
        storeWindowPlace_();
        window_->endImGui();
    }
    drawing_.reset();
    wakeable_ = nullptr;
    while ( waking_ > 0 )
        std::this_thread::yield();
    window_.reset();
    takeMenu_( nullptr, nullptr );
    title_ = std::make_shared<ViewerTitle>();
    // What was connected for this run ends with it.
    perFrameSignal.disconnect_all_slots();
    if ( setup_ )
        setup_->unloadExtendedLibraries();
    setup_ = nullptr;
    return clean;
}

void Viewer::storeWindowPlace_()
{
    const auto place = params_.rememberWindow ? window_->place() : std::nullopt;
    auto& config = Config::instance();
    if ( place && place != windowPlaceFromJson( config.getJsonValue( cWindowPlaceKey ) ) )
        config.setJsonValue( cWindowPlaceKey, toJson( *place ) );
}

void Viewer::connectInput_()
{
    auto& events = window_->events;
    const auto redraw = [this] { incrementForceRedrawFrames( 2 ); };
    events.mouseButton = [this, redraw]( MouseButton button, bool down, int modifiers )
    {
        redraw();
        if ( down )
            signals_.mouseDown( button, modifiers );
        else
            signals_.mouseUp( button, modifiers );
    };
    events.mouseMove = [this, redraw]( Vector2f position )
    {
        redraw();
        signals_.mouseMove( position );
    };
    events.mouseScroll = [this, redraw]( float steps )
    {
        redraw();
        signals_.mouseScroll( steps );
    };
    events.key = [this, redraw]( int key, bool down, bool repeat, int modifiers )
    {
        redraw();
        auto& signal = !down ? signals_.keyUp : repeat ? signals_.keyRepeat : signals_.keyDown;
        signal( key, modifiers );
    };
    events.character = [this, redraw]( unsigned codePoint, int modifiers )
    {
        redraw();
        signals_.charPressed( codePoint, modifiers );
    };
    events.cursorEntrance = [this, redraw]( bool entered )
    {
        redraw();
        signals_.cursorEntrance( entered );
    };
}

void Viewer::connectWindow_()
{
    connectInput_();
    auto& events = window_->events;
    const auto redraw = [this] { incrementForceRedrawFrames( 2 ); };
    events.drop = [this, redraw]( const std::vector<std::filesystem::path>& files )
    {
        redraw();
        filesDroppedSignal( files );
    };
    events.resize = [this, redraw]
    {
        redraw();
        signals_.postResize( window_->width(), window_->height() );
    };
    events.refresh = redraw;
    events.rescale = [this, redraw]
    {
        redraw();
        updateTheme_();
        signals_.postRescale( scale() );
    };
    events.closeRequest = [this] { requestClose(); };
    auto& controller = drawing_->controller;
    controller.clicked = [this]( Vector2f position, bool add )
    {
        if ( !signals_.sceneClick( position, add ) && menu_ )
            menu_->onSceneClick( pick( position ), add );
    };
    controller.centerAt = [this]( Vector2f position ) { return turningPointAt_( position ); };
    controller.doubleClicked = [this]( Vector2f position )
    {
        if ( const Object* object = pick( position ) )
            fitBox( object->treeBox( true ) );
    };
}

void Viewer::updateTheme_()
{
    auto& settings = drawing_->view.settings();
    settings.backgroundTop = ColorTheme::getViewportColor( ColorTheme::ViewportTop );
    settings.backgroundBottom = ColorTheme::getViewportColor( ColorTheme::ViewportBottom );
    settings.highlight = ColorTheme::getViewportColor( ColorTheme::Highlight );
    settings.lineWidth = std::max( 1.f, std::round( scale() ) );
}

void Viewer::postEmptyEvent()
{
    // The counter keeps the window alive while another thread wakes it.
    ++waking_;
    frames_->post();
    if ( Window* window = wakeable_ )
        window->postEmptyEvent();
    --waking_;
}

void Viewer::incrementForceRedrawFrames( int frames, bool swapOnLastOnly )
{
    frames_->request( params_.picturesOnly ? 0 : frames, swapOnLastOnly );
}

void Viewer::requestFrameIn( double seconds )
{
    frames_->requestAt( secondsNow() + seconds );
}

bool Viewer::needsFrame_()
{
    const bool due = frames_->takeDue( secondsNow() );
    return ( due || drawing_->view.isOutdated() ) && !params_.picturesOnly && !window_->isMinimized();
}

void Viewer::step( double seconds )
{
    // Frames that are asked for wait until a minimised window comes back.
    if ( !window_->isMinimized() || !frames_->hasRequests() )
        seconds = CommandLoop::isEmpty() ? frames_->waitTime( seconds, secondsNow() ) : 0;
    window_->waitEvents( seconds );
    CommandLoop::processCommands();
    if ( !closing_ && needsFrame_() )
        drawFrame_();
}

void Viewer::buildInterface_()
{
    drawing_->imgui.prepareFrame( menu_ ? &menu_->fontManager() : nullptr, menu_ ? menu_->menu_scaling() : scale() );
    window_->newImGuiFrame();
    UI::beforeNewFrame();
    ImGui::NewFrame();
    UI::beginModals();
    UI::afterNewFrame();
    ProgressBar::update();
    if ( menu_ )
        menu_->draw();
    perFrameSignal();
    if ( UI::endModals() )
        incrementForceRedrawFrames( 2 );
    ImGui::Render();
}

void Viewer::drawFrame_()
{
    frames_->beginFrame();
    drawing_->view.resize( window_->width(), window_->height() );
    buildInterface_();
    drawing_->keepModelInMiddle(
        { { float( window_->width() ), float( window_->height() ) }, menu_ ? menu_->coveredPixels() : Vector2f{} },
        scale() );
    ++framesDrawn_;
    if ( !frames_->isFrameShown() )
        return;
    drawing_->view.draw( window_->framebuffer() );
    if ( drawing_->view.isCoarse() )
        requestFrameIn( SceneView::cStandsStill );
    drawing_->imgui.drawInterface();
    window_->present();
}

void Viewer::requestClose()
{
    if ( !signals_.closeRequest() )
        close();
}

void Viewer::setHistoryStore( std::shared_ptr<HistoryStore> store )
{
    history_ = std::move( store );
    historyReplacedSignal();
}

void Viewer::takeMenu_( std::shared_ptr<ImGuiMenu> plugin, ViewerMenu* menu )
{
    plugin_ = std::move( plugin );
    menu_ = menu;
}

void Viewer::setViewerTitle( std::shared_ptr<ViewerTitle> title )
{
    if ( title && title_ )
        title->takeTexts_( *title_ );
    title_ = std::move( title );
}

void Viewer::setWindowTitle( const std::string& title )
{
    if ( window_ )
        window_->setTitle( title );
}

Camera& Viewer::camera()
{
    return drawing_->view.camera();
}

DrawSettings& Viewer::drawSettings()
{
    return drawing_->view.settings();
}

void Viewer::fitScene()
{
    fitBox( root_->treeBox( true ) );
}

void Viewer::fitBox( const Box3d& box )
{
    camera().setSceneBox( root_->treeBox( true ) );
    camera().fit( box, menu_ ? menu_->coveredPixels() : Vector2f{} );
}

Object* Viewer::pick( Vector2f position )
{
    return drawing_->view.pick( position );
}

std::optional<Vector3d> Viewer::turningPoint() const
{
    return drawing_ ? drawing_->controller.center() : std::nullopt;
}

std::optional<Vector3d> Viewer::turningPointAt_( Vector2f position )
{
    if ( !Config::instance().getBool( cTurnAboutPointerConfigKey, true ) )
        return {};
    if ( const auto point = drawing_->view.pickPoint( position ) )
        return point;
    const Vector2f whole{ float( window_->width() ), float( window_->height() ) };
    return drawing_->view.pickPoint( whole - freeSize() * 0.5f );
}

void Viewer::setOverlays( const std::string& owner, std::vector<Overlay> overlays )
{
    if ( drawing_ )
        drawing_->view.setOverlays( owner, std::move( overlays ) );
}

float Viewer::scale() const
{
    return window_ ? window_->scale() : 1;
}

Image Viewer::sceneImage()
{
    drawing_->view.resize( window_->width(), window_->height() );
    drawing_->view.draw( window_->framebuffer(), SceneView::Detail::Full );
    return readFramebuffer( window_->framebuffer(), window_->width(), window_->height() );
}

Vector2f Viewer::freeSize() const
{
    const Vector2f covered = menu_ ? menu_->coveredPixels() : Vector2f{};
    return { std::max( float( window_->width() ) - covered.x, 1.f ),
        std::max( float( window_->height() ) - covered.y, 1.f ) };
}

tl::expected<Image, std::string> Viewer::takePicture( const PictureParams& params )
{
    auto& view = drawing_->view;
    view.resize( window_->width(), window_->height() );
    const Vector2f whole{ float( window_->width() ), float( window_->height() ) };
    const Vector2f free = freeSize();
    const float enlarged = std::min( float( params.width ) / free.x, float( params.height ) / free.y );
    DrawSettings settings = view.settings();
    settings.background = !params.transparent;
    settings.marks = false;
    settings.lineWidth = std::max( 1.f, std::round( settings.lineWidth * enlarged ) );
    settings.pointSize = std::max( 1.f, settings.pointSize * enlarged );
    return view.takePicture( view.camera().cropped( whole - free, whole, params.width, params.height ), settings );
}

Image Viewer::frameImage()
{
    return readFramebuffer( window_->framebuffer(), window_->width(), window_->height() );
}

} // namespace VX
