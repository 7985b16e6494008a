/// Drops files on a window as a file manager does: `drop_files WINDOW FILE…` speaks the source's side of the XDND
/// protocol, version 5 (https://freedesktop.org/wiki/Specifications/XDND), and ends when the target has finished.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

namespace
{

class DropSource
{
public:
    DropSource( Display* display, Window target, std::string uris )
        : display_( display )
        , target_( target )
        , uris_( std::move( uris ) )
        , window_( XCreateSimpleWindow( display, DefaultRootWindow( display ), 0, 0, 1, 1, 0, 0, 0 ) )
        , uriList_( atom_( "text/uri-list" ) )
    {
        XSetSelectionOwner( display_, atom_( "XdndSelection" ), window_, CurrentTime );
    }

    bool drop()
    {
        send_( "XdndEnter", { long( window_ ), 5L << 24, long( uriList_ ), 0, 0 } );
        send_( "XdndPosition",
            { long( window_ ), 0, ( 100L << 16 ) | 100L, CurrentTime, long( atom_( "XdndActionCopy" ) ) } );
        bool dropped = false;
        for ( ;; )
        {
            XEvent event;
            XNextEvent( display_, &event );
            if ( event.type == SelectionRequest )
                answer_( event.xselectionrequest );
            if ( event.type != ClientMessage )
                continue;
            const Atom type = event.xclient.message_type;
            if ( type == atom_( "XdndStatus" ) && !dropped )
            {
                if ( !( event.xclient.data.l[1] & 1 ) )
                    return false;
                dropped = true;
                send_( "XdndDrop", { long( window_ ), 0, CurrentTime, 0, 0 } );
            }
            if ( type == atom_( "XdndFinished" ) )
                return true;
        }
    }

private:
    [[nodiscard]] Atom atom_( const char* name ) const { return XInternAtom( display_, name, False ); }

    void send_( const char* type, std::initializer_list<long> data )
    {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.display = display_;
        event.xclient.window = target_;
        event.xclient.message_type = atom_( type );
        event.xclient.format = 32;
        int i = 0;
        for ( const long value : data )
            event.xclient.data.l[i++] = value;
        XSendEvent( display_, target_, False, NoEventMask, &event );
        XFlush( display_ );
    }

    void answer_( const XSelectionRequestEvent& request )
    {
        XChangeProperty( display_, request.requestor, request.property, uriList_, 8, PropModeReplace,
            reinterpret_cast<const unsigned char*>( uris_.data() ), int( uris_.size() ) );
        XEvent event{};
        event.xselection.type = SelectionNotify;
        event.xselection.requestor = request.requestor;
        event.xselection.selection = request.selection;
        event.xselection.target = request.target;
        event.xselection.property = request.property;
        event.xselection.time = request.time;
        XSendEvent( display_, request.requestor, False, NoEventMask, &event );
        XFlush( display_ );
    }

    Display* display_;
    Window target_;
    std::string uris_;
    Window window_;
    Atom uriList_;
};

} // namespace

int main( int argc, char** argv )
{
    Display* display = argc > 2 ? XOpenDisplay( nullptr ) : nullptr;
    if ( !display )
    {
        std::fputs( "Usage: drop_files WINDOW FILE… (with a display)\n", stderr );
        return 2;
    }
    std::string uris;
    for ( int i = 2; i < argc; ++i )
        uris += std::string( "file://" ) + argv[i] + "\r\n";
    return DropSource( display, Window( std::strtoul( argv[1], nullptr, 0 ) ), uris ).drop() ? 0 : 1;
}
