#include <VXViewer/core/SpaceMouse.h>

#include <VXViewer/core/SpaceMouseMotion.h>
#include <VXViewer/core/ViewerSignals.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>

#include <spdlog/spdlog.h>

#include <array>
#include <mutex>
#include <optional>
#include <thread>

#include <poll.h>
#include <spnav.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace VX
{

struct SpaceMouse::Impl
{
    explicit Impl( ViewerSignals& toTell )
        : signals( toTell )
        , stopEvent( ::eventfd( 0, EFD_CLOEXEC ) )
        , thread( [this] { listen(); } )
    {
    }
    ~Impl()
    {
        const uint64_t one = 1;
        if ( ::write( stopEvent, &one, sizeof( one ) ) != sizeof( one ) )
            spdlog::error( "The thread of the 3D mouse cannot be woken" );
        thread.join();
        ::close( stopEvent );
        spnav_close();
    }

    void listen()
    {
        std::array<pollfd, 2> files{ pollfd{ spnav_fd(), POLLIN, 0 }, pollfd{ stopEvent, POLLIN, 0 } };
        while ( ::poll( files.data(), files.size(), -1 ) >= 0 )
        {
            if ( files[1].revents || ( files[0].revents & ( POLLHUP | POLLERR ) ) )
                return;
            spnav_event event{};
            while ( spnav_poll_event( &event ) )
                take( event );
        }
    }

    void take( const spnav_event& event )
    {
        if ( event.type == SPNAV_EVENT_BUTTON && event.button.press )
            CommandLoop::appendCommand(
                [&signals = signals, number = event.button.bnum] { signals.spaceMouseDown( number ); } );
        if ( event.type != SPNAV_EVENT_MOTION )
            return;
        const auto& m = event.motion;
        const auto motion = motionOf( { m.x, m.y, m.z, m.rx, m.ry, m.rz } );
        const std::lock_guard lock( mutex );
        // Reports that pile up during a slow frame are old news: only the latest counts.
        if ( !std::exchange( latest, motion ) )
            CommandLoop::appendCommand( [this] { tell(); } );
    }

    void tell()
    {
        std::optional<SpaceMouseMotion> motion;
        {
            const std::lock_guard lock( mutex );
            motion = std::exchange( latest, std::nullopt );
        }
        if ( !motion )
            return;
        signals.spaceMouseMove( motion->shift, motion->turn );
        redraw( 1 );
    }

    ViewerSignals& signals;
    std::mutex mutex;
    std::optional<SpaceMouseMotion> latest;
    int stopEvent;
    std::thread thread;
};

SpaceMouse::SpaceMouse() = default;
SpaceMouse::~SpaceMouse() = default;

void SpaceMouse::start( ViewerSignals& signals )
{
    if ( impl_ || spnav_open() == -1 )
        return;
    spdlog::debug( "A 3D mouse is listened to" );
    impl_ = std::make_unique<Impl>( signals );
}

} // namespace VX
