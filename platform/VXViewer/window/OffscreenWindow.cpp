#include <VXViewer/window/OffscreenWindow.h>

#include <VXViewer/loop/Clock.h>
#include <VXViewer/ui/KeyMap.h>

#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <imgui.h>
#include <imgui_internal.h>

#include <chrono>

namespace VX
{
tl::expected<std::unique_ptr<OffscreenWindow>, std::string> OffscreenWindow::open( const WindowOptions& options )
{
    std::unique_ptr<OffscreenWindow> window( new OffscreenWindow );
    window->width_ = options.width;
    window->height_ = options.height;
    window->title_ = options.title;
    if ( options.scaleExpected )
        options.scaleExpected( window->scale_ );
    if ( auto created = window->createContext_(); !created )
        return tl::unexpected( created.error() );
    window->createFramebuffer_();
    return window;
}

tl::expected<void, std::string> OffscreenWindow::createContext_()
{
    const auto failed = []( const char* what )
    { return tl::unexpected( std::string( "Cannot draw without a window: " ) + what ); };
    display_ = eglGetPlatformDisplayEXT( EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr );
    if ( display_ == EGL_NO_DISPLAY || !eglInitialize( display_, nullptr, nullptr ) )
        return failed( "EGL has no surfaceless platform here" );
    if ( !eglBindAPI( EGL_OPENGL_API ) )
        return failed( "EGL has no OpenGL here" );
    const EGLint attributes[] = { EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
        EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE };
    context_ = eglCreateContext( display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes );
    if ( context_ == EGL_NO_CONTEXT || !eglMakeCurrent( display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_ ) )
        return failed( "OpenGL 3.3 is missing" );
    return {};
}

void OffscreenWindow::createFramebuffer_()
{
    if ( !framebuffer_ )
    {
        glGenFramebuffers( 1, &framebuffer_ );
        glGenTextures( 1, &color_ );
    }
    glBindTexture( GL_TEXTURE_2D, color_ );
    glTexImage2D( GL_TEXTURE_2D, 0, GL_RGBA8, width_, height_, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr );
    glBindFramebuffer( GL_FRAMEBUFFER, framebuffer_ );
    glFramebufferTexture2D( GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, color_, 0 );
}

OffscreenWindow::~OffscreenWindow()
{
    if ( context_ )
    {
        glDeleteFramebuffers( 1, &framebuffer_ );
        glDeleteTextures( 1, &color_ );
        eglMakeCurrent( display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT );
        eglDestroyContext( display_, context_ );
    }
    if ( display_ )
        eglTerminate( display_ );
}

void OffscreenWindow::waitEvents( double seconds )
{
    std::function<void()> event;
    {
        std::unique_lock lock( mutex_ );
        const auto ready = [this] { return posted_ || !queue_.empty(); };
        if ( seconds < 0 )
            wake_.wait( lock, ready );
        else
            wake_.wait_for( lock, std::chrono::duration<double>( seconds ), ready );
        posted_ = false;
        if ( !queue_.empty() )
        {
            event = std::move( queue_.front() );
            queue_.pop_front();
        }
    }
    if ( event )
        event();
}

void OffscreenWindow::postEmptyEvent()
{
    {
        const std::lock_guard lock( mutex_ );
        posted_ = true;
    }
    wake_.notify_one();
}

void OffscreenWindow::push_( std::function<void()> event )
{
    {
        const std::lock_guard lock( mutex_ );
        queue_.push_back( std::move( event ) );
    }
    wake_.notify_one();
}

void OffscreenWindow::newImGuiFrame()
{
    auto& io = ImGui::GetIO();
    fillGlfwKeyMap( io );
    io.DisplaySize = { float( width_ ), float( height_ ) };
    io.DisplayFramebufferScale = { 1, 1 };
    const double time = secondsNow();
    io.DeltaTime = lastTime_ > 0 ? std::max( float( time - lastTime_ ), 1e-4f ) : 1.f / 60;
    lastTime_ = time;
}

void OffscreenWindow::present()
{
    glFinish();
}

void OffscreenWindow::moveMouse( Vector2f position )
{
    push_(
        [this, position]
        {
            ImGui::GetIO().MousePos = { position.x, position.y };
            events.mouseMove( position );
        } );
}

void OffscreenWindow::pressMouse( MouseButton button, bool down, int modifiers )
{
    push_(
        [this, button, down, modifiers]
        {
            ImGui::GetIO().MouseDown[int( button )] = down;
            events.mouseButton( button, down, modifiers );
        } );
}

void OffscreenWindow::scroll( float steps )
{
    push_(
        [this, steps]
        {
            ImGui::GetIO().MouseWheel += steps;
            events.mouseScroll( steps );
        } );
}

void OffscreenWindow::pressKey( int key, bool down, int modifiers, bool repeat )
{
    push_(
        [this, key, down, modifiers, repeat]
        {
            auto& io = ImGui::GetIO();
            io.KeysDown[key] = down;
            io.KeyShift = modifiers & ShiftModifier;
            io.KeyCtrl = modifiers & ControlModifier;
            io.KeyAlt = modifiers & AltModifier;
            events.key( key, down, repeat, modifiers );
        } );
}

void OffscreenWindow::type( const std::string& text )
{
    push_(
        [this, text]
        {
            ImGui::GetIO().AddInputCharactersUTF8( text.c_str() );
            for ( const char* p = text.c_str(); *p; )
            {
                unsigned codePoint = 0;
                p += ImTextCharFromUtf8( &codePoint, p, nullptr );
                events.character( codePoint, 0 );
            }
        } );
}

void OffscreenWindow::drop( std::vector<std::filesystem::path> files )
{
    push_( [this, files = std::move( files )] { events.drop( files ); } );
}

void OffscreenWindow::enterCursor( bool entered )
{
    push_( [this, entered] { events.cursorEntrance( entered ); } );
}

void OffscreenWindow::requestClose()
{
    push_( [this] { events.closeRequest(); } );
}

void OffscreenWindow::resize( int width, int height, float scale )
{
    push_(
        [this, width, height, scale]
        {
            const bool rescaled = scale != scale_;
            width_ = width;
            height_ = height;
            scale_ = scale;
            createFramebuffer_();
            events.resize();
            if ( rescaled )
                events.rescale();
        } );
}

} // namespace VX
