#include <VXViewer/window/Window.h>

#include <VXMesh/io/Path.h>
#include <VXViewer/window/TypedEvents.h>

#include <GLFW/glfw3.h>
#include <imgui.h>
#include <imgui_impl_glfw.h>

#include <cmath>
#include <utility>

namespace VX
{
namespace
{

std::string glfwFailure( const char* what )
{
    const char* why = nullptr;
    glfwGetError( &why );
    return std::string( what ) + ( why ? std::string( ": " ) + why : std::string() );
}

class DesktopWindow final : public Window
{
public:
    [[nodiscard]] tl::expected<void, std::string> create( const WindowOptions& options )
    {
        if ( !glfwInit() )
            return tl::unexpected( glfwFailure( "No display to open a window on" ) );
        initialized_ = true;
        glfwWindowHint( GLFW_CONTEXT_VERSION_MAJOR, 3 );
        glfwWindowHint( GLFW_CONTEXT_VERSION_MINOR, 3 );
        glfwWindowHint( GLFW_OPENGL_PROFILE, GLFW_OPENGL_CORE_PROFILE );
        glfwWindowHint( GLFW_VISIBLE, GLFW_FALSE );
        // The scene is drawn into a framebuffer of its own, which has its depth and its samples.
        glfwWindowHint( GLFW_DEPTH_BITS, 0 );
        glfwWindowHint( GLFW_STENCIL_BITS, 0 );
        if ( options.scaleExpected )
            options.scaleExpected( expectedScale_() );
        // The other way asks for each property of each of the display's hundreds of visuals, which takes longer than
        // all the rest; but it is there on every display.
        for ( const int api : { GLFW_EGL_CONTEXT_API, GLFW_NATIVE_CONTEXT_API } )
        {
            glfwWindowHint( GLFW_CONTEXT_CREATION_API, api );
            if ( !window_ )
                window_ = glfwCreateWindow( options.width, options.height, options.title.c_str(), nullptr, nullptr );
        }
        if ( !window_ )
            return tl::unexpected( glfwFailure( "No window with OpenGL 3.3 can be opened" ) );
        glfwMakeContextCurrent( window_ );
        glfwSwapInterval( 1 );
        glfwSetWindowUserPointer( window_, this );
        if ( options.follow )
            place_( options );
        setCallbacks_();
        return {};
    }

    ~DesktopWindow() override
    {
        if ( window_ )
            glfwDestroyWindow( window_ );
        if ( initialized_ )
            glfwTerminate();
    }

    void waitEvents( double seconds ) override
    {
        if ( seconds < 0 )
            glfwWaitEvents();
        else if ( seconds == 0 )
            glfwPollEvents();
        else
            glfwWaitEventsTimeout( seconds );
    }

    void postEmptyEvent() override { glfwPostEmptyEvent(); }

    [[nodiscard]] int width() const override { return framebufferSize_().first; }
    [[nodiscard]] int height() const override { return framebufferSize_().second; }
    [[nodiscard]] float scale() const override
    {
        float x = 1, y = 1;
        glfwGetWindowContentScale( window_, &x, &y );
        return x > 0 ? x : 1;
    }
    [[nodiscard]] bool isMinimized() const override { return glfwGetWindowAttrib( window_, GLFW_ICONIFIED ); }
    [[nodiscard]] std::optional<Monitor> biggestMonitor() const override
    {
        int count = 0;
        GLFWmonitor** monitors = glfwGetMonitors( &count );
        std::optional<Monitor> biggest;
        for ( int i = 0; i < count; ++i )
        {
            const GLFWvidmode* mode = glfwGetVideoMode( monitors[i] );
            if ( !mode || ( biggest && biggest->width * biggest->height >= mode->width * mode->height ) )
                continue;
            float x = 1, y = 1;
            glfwGetMonitorContentScale( monitors[i], &x, &y );
            biggest = { mode->width, mode->height, int( std::lround( x * 100 ) ) };
        }
        return biggest;
    }
    [[nodiscard]] unsigned framebuffer() const override { return 0; }
    void setTitle( const std::string& title ) override { glfwSetWindowTitle( window_, title.c_str() ); }
    void show() override { glfwShowWindow( window_ ); }

    void raise() override
    {
        if ( isMinimized() )
            glfwRestoreWindow( window_ );
        else if ( !glfwGetWindowAttrib( window_, GLFW_FOCUSED ) )
            glfwRequestWindowAttention( window_ );
    }
    [[nodiscard]] std::optional<WindowPlace> place() const override
    {
        auto out = restored_;
        out.maximized = glfwGetWindowAttrib( window_, GLFW_MAXIMIZED );
        return out;
    }

    void newImGuiFrame() override
    {
        if ( !imguiReady_ )
            imguiReady_ = ImGui_ImplGlfw_InitForOpenGL( window_, false );
        applyTyped_();
        ImGui_ImplGlfw_NewFrame();
    }
    void endImGui() override
    {
        if ( std::exchange( imguiReady_, false ) )
            ImGui_ImplGlfw_Shutdown();
    }
    void present() override { glfwSwapBuffers( window_ ); }

private:
    static DesktopWindow& self_( GLFWwindow* window )
    {
        return *static_cast<DesktopWindow*>( glfwGetWindowUserPointer( window ) );
    }

    static float expectedScale_()
    {
        float x = 1, y = 1;
        if ( GLFWmonitor* monitor = glfwGetPrimaryMonitor() )
            glfwGetMonitorContentScale( monitor, &x, &y );
        return x > 0 ? x : 1;
    }

    /// How many of the desktop's units a thing takes that is one pixel large on a screen of scale 1. Where pixels are
    /// such units it is the scale; elsewhere the desktop scales by itself.
    [[nodiscard]] float unitScale_() const
    {
        int width = 0, height = 0;
        glfwGetWindowSize( window_, &width, &height );
        return width > 0 ? scale() * float( width ) / float( std::max( framebufferSize_().first, 1 ) ) : scale();
    }

    static std::vector<ScreenRect> screens_()
    {
        std::vector<ScreenRect> out;
        int count = 0;
        GLFWmonitor** monitors = glfwGetMonitors( &count );
        for ( int i = 0; i < count; ++i )
        {
            ScreenRect free;
            glfwGetMonitorWorkarea( monitors[i], &free.x, &free.y, &free.width, &free.height );
            if ( free.width > 0 && free.height > 0 )
                out.push_back( free );
        }
        return out;
    }

    void place_( const WindowOptions& options )
    {
        FrameSize frame;
        glfwGetWindowFrameSize( window_, &frame.left, &frame.top, &frame.right, &frame.bottom );
        const auto rect = placeWindow( options.place, options.width, options.height, screens_(), frame, unitScale_() );
        glfwSetWindowSize( window_, rect.width, rect.height );
        glfwSetWindowPos( window_, rect.x, rect.y );
        keepRestored_( rect );
        if ( options.place && options.place->maximized )
            glfwMaximizeWindow( window_ );
    }

    void keepRestored_( const ScreenRect& rect )
    {
        const float scale = unitScale_();
        restored_ = { rect.x, rect.y, int( std::lround( float( rect.width ) / scale ) ),
            int( std::lround( float( rect.height ) / scale ) ), false };
    }

    /// Remembers where the window stands while it is neither maximised nor minimised.
    void notePlace_()
    {
        if ( glfwGetWindowAttrib( window_, GLFW_MAXIMIZED ) || isMinimized() )
            return;
        ScreenRect rect;
        glfwGetWindowPos( window_, &rect.x, &rect.y );
        glfwGetWindowSize( window_, &rect.width, &rect.height );
        keepRestored_( rect );
    }

    [[nodiscard]] std::pair<int, int> framebufferSize_() const
    {
        int width = 0, height = 0;
        glfwGetFramebufferSize( window_, &width, &height );
        return { width, height };
    }

    [[nodiscard]] Vector2f toPixels_( double x, double y ) const
    {
        int windowWidth = 1, windowHeight = 1;
        glfwGetWindowSize( window_, &windowWidth, &windowHeight );
        const auto [width, height] = framebufferSize_();
        return { float( x * width / std::max( windowWidth, 1 ) ), float( y * height / std::max( windowHeight, 1 ) ) };
    }

    void setCallbacks_()
    {
        setPointerCallbacks_();
        glfwSetKeyCallback( window_,
            []( GLFWwindow* w, int key, int scancode, int action, int mods )
            {
                self_( w ).typed_.add( { key, scancode, action, mods } );
                self_( w ).events.key( key, action != GLFW_RELEASE, action == GLFW_REPEAT, mods );
            } );
        glfwSetCharModsCallback( window_,
            []( GLFWwindow* w, unsigned codePoint, int mods ) { self_( w ).events.character( codePoint, mods ); } );
        glfwSetCharCallback( window_,
            []( GLFWwindow* w, unsigned codePoint )
            {
                self_( w ).typed_.add( { 0, 0, 0, 0, codePoint } );
                self_( w ).events.refresh();
            } );
        glfwSetDropCallback( window_,
            []( GLFWwindow* w, int count, const char** names )
            {
                std::vector<std::filesystem::path> files;
                files.reserve( size_t( count ) );
                for ( int i = 0; i < count; ++i )
                    files.push_back( pathFromUtf8( names[i] ) );
                self_( w ).events.drop( files );
            } );
        glfwSetFramebufferSizeCallback( window_, []( GLFWwindow* w, int, int ) { self_( w ).events.resize(); } );
        glfwSetWindowSizeCallback( window_, []( GLFWwindow* w, int, int ) { self_( w ).notePlace_(); } );
        glfwSetWindowPosCallback( window_, []( GLFWwindow* w, int, int ) { self_( w ).notePlace_(); } );
        glfwSetWindowContentScaleCallback(
            window_, []( GLFWwindow* w, float, float ) { self_( w ).events.rescale(); } );
        glfwSetWindowRefreshCallback( window_, []( GLFWwindow* w ) { self_( w ).events.refresh(); } );
        glfwSetWindowCloseCallback( window_,
            []( GLFWwindow* w )
            {
                glfwSetWindowShouldClose( w, GLFW_FALSE );
                self_( w ).events.closeRequest();
            } );
        glfwSetWindowFocusCallback( window_,
            []( GLFWwindow* w, int focused )
            {
                if ( self_( w ).imguiReady_ )
                    ImGui_ImplGlfw_WindowFocusCallback( w, focused );
                self_( w ).events.refresh();
            } );
    }

    void tell_( const TypedEvent& event )
    {
        if ( event.codePoint != 0 )
            return ImGui_ImplGlfw_CharCallback( window_, event.codePoint );
        ImGui_ImplGlfw_KeyCallback( window_, event.key, event.scancode, event.action, event.modifiers );
    }

    void applyTyped_()
    {
        for ( const auto& event : typed_.takeForFrame() )
            tell_( event );
        if ( !typed_.isEmpty() )
            events.refresh();
    }

    void setPointerCallbacks_()
    {
        glfwSetMouseButtonCallback( window_,
            []( GLFWwindow* w, int button, int action, int mods )
            {
                if ( self_( w ).imguiReady_ )
                    ImGui_ImplGlfw_MouseButtonCallback( w, button, action, mods );
                if ( button <= GLFW_MOUSE_BUTTON_MIDDLE )
                    self_( w ).events.mouseButton( MouseButton( button ), action == GLFW_PRESS, mods );
            } );
        glfwSetCursorPosCallback( window_,
            []( GLFWwindow* w, double x, double y ) { self_( w ).events.mouseMove( self_( w ).toPixels_( x, y ) ); } );
        glfwSetScrollCallback( window_,
            []( GLFWwindow* w, double x, double y )
            {
                if ( self_( w ).imguiReady_ )
                    ImGui_ImplGlfw_ScrollCallback( w, x, y );
                self_( w ).events.mouseScroll( float( y ) );
            } );
        glfwSetCursorEnterCallback( window_,
            []( GLFWwindow* w, int entered )
            {
                if ( self_( w ).imguiReady_ )
                    ImGui_ImplGlfw_CursorEnterCallback( w, entered );
                self_( w ).events.cursorEntrance( entered );
            } );
    }

    GLFWwindow* window_ = nullptr;
    WindowPlace restored_;
    TypedEvents typed_;
    bool initialized_ = false;
    bool imguiReady_ = false;
};

} // namespace

tl::expected<std::unique_ptr<Window>, std::string> openDesktopWindow( const WindowOptions& options )
{
    auto window = std::make_unique<DesktopWindow>();
    if ( auto created = window->create( options ); !created )
        return tl::unexpected( created.error() );
    return window;
}

} // namespace VX
