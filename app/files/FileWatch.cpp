#include "files/FileWatch.h"

#include <VXMesh/io/Path.h>

#include <spdlog/spdlog.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace VX::App
{

FileWatch::FileWatch( std::function<void( const std::filesystem::path& )> changed )
    : changed_( std::move( changed ) )
{
}

FileWatch::~FileWatch()
{
    if ( thread_.joinable() )
    {
        const uint64_t one = 1;
        while ( ::write( wake_, &one, sizeof( one ) ) < 0 && errno == EINTR )
            ;
        thread_.join();
    }
    if ( inotify_ >= 0 )
        ::close( inotify_ );
    if ( wake_ >= 0 )
        ::close( wake_ );
}

void FileWatch::watch( const std::filesystem::path& file )
{
    const std::lock_guard lock( mutex_ );
    if ( inotify_ < 0 )
        inotify_ = ::inotify_init1( IN_CLOEXEC | IN_NONBLOCK );
    if ( wake_ < 0 )
        wake_ = ::eventfd( 0, EFD_CLOEXEC );
    // The folder, since many programs write a new file and move it into place.
    const int folder =
        ::inotify_add_watch( inotify_, file.parent_path().c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR );
    if ( folder < 0 || wake_ < 0 )
        return spdlog::debug( "\"{}\" is not watched: {}", utf8string( file ), std::strerror( errno ) );
    folders_[folder].path = file.parent_path();
    folders_[folder].names.insert( file.filename().string() );
    if ( !thread_.joinable() )
        thread_ = std::thread( [this] { run_(); } );
}

void FileWatch::unwatch( const std::filesystem::path& file )
{
    const std::lock_guard lock( mutex_ );
    for ( auto it = folders_.begin(); it != folders_.end(); ++it )
    {
        if ( it->second.path != file.parent_path() )
            continue;
        it->second.names.erase( file.filename().string() );
        if ( it->second.names.empty() )
        {
            ::inotify_rm_watch( inotify_, it->first );
            folders_.erase( it );
        }
        return;
    }
}

void FileWatch::tell_( int folder, const std::string& name )
{
    std::filesystem::path file;
    {
        const std::lock_guard lock( mutex_ );
        const auto it = folders_.find( folder );
        if ( it == folders_.end() || !it->second.names.contains( name ) )
            return;
        file = it->second.path / name;
    }
    changed_( file );
}

void FileWatch::run_()
{
    alignas( inotify_event ) std::array<char, 16384> buffer{};
    std::array<pollfd, 2> sources{ pollfd{ inotify_, POLLIN, 0 }, pollfd{ wake_, POLLIN, 0 } };
    for ( ;; )
    {
        if ( ::poll( sources.data(), sources.size(), -1 ) < 0 && errno != EINTR )
            return;
        if ( sources[1].revents != 0 )
            return;
        const auto count = ::read( inotify_, buffer.data(), buffer.size() );
        for ( ssize_t at = 0; at < count; )
        {
            inotify_event event{};
            std::memcpy( &event, buffer.data() + at, sizeof( event ) );
            const char* name = buffer.data() + at + sizeof( event );
            if ( event.len > 0 )
                tell_( event.wd, std::string( name, ::strnlen( name, event.len ) ) );
            at += ssize_t( sizeof( event ) + event.len );
        }
    }
}

} // namespace VX::App
