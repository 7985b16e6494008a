#include <VXViewer/core/Viewer.h>

#include <VXViewer/core/CameraController.h>
#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/core/OffscreenWindow.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/draw/SceneView.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/ui/ImGuiContextOwner.h>
#include <VXViewer/web/WebRequest.h>
#include <VXViewer/work/ProgressBar.h>

#include <epoxy/gl.h>
#include <imgui.h>

#include <chrono>
#include <thread>

namespace VX
{
namespace
{

double now()
{
    return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() ).count();
}

tl::expected<std::unique_ptr<Window>, std::string> openWindow( const LaunchParams& params )
{
    const WindowOptions options{ params.width, params.height, params.appName };
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
    explicit Drawing( std::shared_ptr<Object> root )
        : view( std::move( root ) )
        , controller( view.camera() )
    {
    }
    SceneView view;
    CameraController controller;
    ImGuiContextOwner imgui;
};

Viewer& getViewerInstance()
{
    // Never destroyed: other threads may wake it until the process is gone.
    static auto* sViewer = new Viewer;
    return *sViewer;
}

Viewer::Viewer()
    : root_( std::make_shared<Object>() )
    , title_( std::make_shared<ViewerTitle>() )
{
    root_->setName( "Scene" );
}

Viewer::~Viewer() = default;

tl::expected<void, std::string> Viewer::start( const LaunchParams& params )
{
    params_ = params;
    closing_ = false;
    auto window = openWindow( params );
    if ( !window )
        return tl::unexpected( window.error() );
    window_ = std::move( *window );
    wakeable_ = window_.get();
    CommandLoop::open();
    drawing_ = std::make_unique<Drawing>( root_ );
    drawing_->view.settings().lineWidth = std::max( 1.f, std::round( scale() ) );
    drawing_->imgui.setScale( scale() );
    connectWindow_();
    title_->setAppName( params.appName );
    title_->setVersion( params.version );
    if ( menu_ )
        menu_->init( this );
    // The layout of a window settles in its second frame.
    redrawFrames_ = 2;
    drawFrame_();
    window_->show();
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
    clean = ProgressBar::shutdown( cPatience ) && clean;
    root_ = std::make_shared<Object>();
    root_->setName( "Scene" );
    window_->endImGui();
    drawing_.reset();
    wakeable_ = nullptr;
    while ( waking_ > 0 )
        std::this_thread::yield();
    window_.reset();
    menu_.reset();
    return clean;
}

void Viewer::connectWindow_()
{
    auto& events = window_->events;
    auto& controller = drawing_->controller;
    const auto redraw = [this] { incrementForceRedrawFrames( 2 ); };
    events.mouseButton = [this, redraw, &controller]( MouseButton button, bool down, int modifiers )
    {
        redraw();
        controller.mouseButton( button, down, modifiers, ImGui::GetIO().WantCaptureMouse );
    };
    events.mouseMove = [redraw, &controller]( Vector2f position )
    {
        redraw();
        controller.mouseMove( position );
    };
    events.mouseScroll = [redraw, &controller]( float steps )
    {
        redraw();
        if ( !ImGui::GetIO().WantCaptureMouse )
            controller.scroll( steps );
    };
    events.key = [this, redraw]( int key, bool down, bool, int modifiers )
    {
        redraw();
        onKey_( key, down, modifiers );
    };
    events.drop = [this, redraw]( const std::vector<std::filesystem::path>& files )
    {
        redraw();
        filesDroppedSignal( files );
    };
    events.resize = redraw;
    events.refresh = redraw;
    events.rescale = [this, redraw]
    {
        drawing_->imgui.setScale( scale() );
        redraw();
    };
    events.closeRequest = [this] { closing_ = true; };
    controller.clicked = [this]( Vector2f position, bool add )
    {
        if ( menu_ )
            menu_->onSceneClick( pick( position ), add );
    };
    controller.doubleClicked = [this]( Vector2f position )
    {
        if ( const Object* object = pick( position ) )
            fitBox( object->treeBox( true ) );
    };
}

void Viewer::onKey_( int key, bool down, int modifiers )
{
    if ( down && menu_ && !ImGui::GetIO().WantTextInput )
        menu_->onKeyDown( key, modifiers );
}

void Viewer::postEmptyEvent()
{
    // The counter keeps the window alive while another thread wakes it.
    ++waking_;
    framePosted_ = true;
    if ( Window* window = wakeable_ )
        window->postEmptyEvent();
    --waking_;
}

void Viewer::incrementForceRedrawFrames( int frames, bool swapOnLastOnly )
{
    redrawFrames_ = std::max( redrawFrames_, frames );
    swapOnLastOnly_ = swapOnLastOnly;
}

void Viewer::requestFrameIn( double seconds )
{
    const double at = now() + seconds;
    if ( frameDeadline_ < 0 || at < frameDeadline_ )
        frameDeadline_ = at;
}

double Viewer::waitTime_( double most ) const
{
    if ( redrawFrames_ > 0 || framePosted_ || !CommandLoop::isEmpty() )
        return 0;
    double time = most;
    if ( frameDeadline_ >= 0 )
    {
        const double left = std::max( frameDeadline_ - now(), 0. );
        time = time < 0 ? left : std::min( time, left );
    }
    return time;
}

bool Viewer::needsFrame_()
{
    bool needed = redrawFrames_ > 0 || drawing_->view.isOutdated();
    needed = framePosted_.exchange( false ) || needed;
    if ( frameDeadline_ >= 0 && now() >= frameDeadline_ )
    {
        frameDeadline_ = -1;
        needed = true;
    }
    return needed && !window_->isMinimized();
}

void Viewer::step( double seconds )
{
    window_->waitEvents( window_->isMinimized() && redrawFrames_ > 0 ? seconds : waitTime_( seconds ) );
    CommandLoop::processCommands();
    if ( !closing_ && needsFrame_() )
        drawFrame_();
}

void Viewer::buildInterface_()
{
    drawing_->imgui.updateFonts();
    window_->newImGuiFrame();
    ImGui::NewFrame();
    ProgressBar::update();
    if ( menu_ )
        menu_->draw();
    perFrameSignal();
    ImGui::Render();
}

void Viewer::drawFrame_()
{
    const bool last = redrawFrames_ <= 1;
    redrawFrames_ = std::max( redrawFrames_ - 1, 0 );
    drawing_->view.resize( window_->width(), window_->height() );
    buildInterface_();
    ++framesDrawn_;
    if ( swapOnLastOnly_ && !last )
        return;
    swapOnLastOnly_ = swapOnLastOnly_ && !last;
    drawing_->view.draw( window_->framebuffer() );
    drawing_->imgui.drawInterface();
    window_->present();
}

void Viewer::setMenuPlugin( std::shared_ptr<ImGuiMenu> menu )
{
    menu_ = std::move( menu );
}

void Viewer::setViewerTitle( std::shared_ptr<ViewerTitle> title )
{
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

void Viewer::fitBox( const Box3f& box )
{
    camera().setSceneBox( root_->treeBox( true ) );
    camera().fit( box, menu_ ? menu_->coveredPixels() : Vector2f{} );
}

Object* Viewer::pick( Vector2f position )
{
    return drawing_->view.pick( position );
}

float Viewer::scale() const
{
    return window_ ? window_->scale() : 1;
}

Image Viewer::sceneImage()
{
    drawing_->view.resize( window_->width(), window_->height() );
    drawing_->view.draw( window_->framebuffer() );
    return readFramebuffer( window_->framebuffer(), window_->width(), window_->height() );
}

Image Viewer::frameImage()
{
    return readFramebuffer( window_->framebuffer(), window_->width(), window_->height() );
}

} // namespace VX
