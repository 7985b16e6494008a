#include <VXViewer/scene/Autosave.h>

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/scene/GeometrySize.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/work/ProgressBar.h>

#include <imgui.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VX
{
namespace
{

using Clock = std::chrono::steady_clock;
using Objects = std::vector<std::shared_ptr<Object>>;

/// A scene as it was at one time, for the thread that writes it.
struct Snapshot
{
    Objects roots;
    RecoveryInfo info;
};

int64_t secondsSinceEpoch()
{
    return std::chrono::duration_cast<std::chrono::seconds>( std::chrono::system_clock::now().time_since_epoch() )
        .count();
}

void lowerPriority()
{
    constexpr int cNice = 10;
    ::setpriority( PRIO_PROCESS, id_t( ::syscall( SYS_gettid ) ), cNice );
}

} // namespace

/// What the UI thread and the writing one share; it outlives both.
struct Autosave::Shared
{
    std::mutex mutex;
    std::condition_variable wake, ended;
    std::filesystem::path folder;
    bool running = false, stopping = false, dropping = false;
    /// When the UI thread is asked for the scene.
    std::optional<Clock::time_point> due;
    std::optional<Snapshot> waiting;
    std::function<void()> ask;
    /// What is written while this changes is not wanted any more.
    std::atomic<uint64_t> generation{ 0 };
    /// Set and reset by the writing thread alone, under the lock.
    std::optional<RecoverySlot> slot;
    /// Takes the place of `slot` as soon as nothing is being written to that one.
    std::optional<RecoverySlot> adopted;

    void takeAdopted();

    /// Writes without the lock, and takes it to say that the work counts.
    void write( const Snapshot& snapshot, uint64_t started );
    [[nodiscard]] tl::expected<void, std::string> tryWrite( const Snapshot& snapshot, uint64_t started );
};

void Autosave::Shared::takeAdopted()
{
    if ( !adopted )
        return;
    if ( slot )
        slot->remove();
    slot = std::move( *adopted );
    adopted.reset();
}

tl::expected<void, std::string> Autosave::Shared::tryWrite( const Snapshot& snapshot, uint64_t started )
{
    const auto wanted = [&]( float ) { return generation == started; };
    const auto bytes = writeVxu( snapshot.roots, wanted );
    if ( !bytes )
        return tl::unexpected( bytes.error() );
    if ( !slot )
    {
        auto made = RecoverySlot::create( folder );
        if ( !made )
            return tl::unexpected( made.error() );
        const std::lock_guard lock( mutex );
        slot = std::move( *made );
    }
    if ( auto written = slot->writeScene( *bytes ); !written )
        return written;
    const std::lock_guard lock( mutex );
    if ( !wanted( 1 ) )
        return tl::unexpected( std::string( cOperationCanceled ) );
    return slot->writeInfo( snapshot.info );
}

void Autosave::Shared::write( const Snapshot& snapshot, uint64_t started )
{
    const auto written = tryWrite( snapshot, started );
    if ( !written && written.error() != cOperationCanceled )
        spdlog::warn( "{}", written.error() );
}

Autosave::Autosave( Viewer& viewer, std::filesystem::path folder )
    : viewer_( viewer )
    , folder_( std::move( folder ) )
    , shared_( std::make_shared<Shared>() )
{
    shared_->folder = folder_;
    shared_->ask = [this, life = life_.watch()]
    {
        CommandLoop::appendCommand(
            [this, life]
            {
                if ( !life.expired() )
                    keepWhenIdle_();
            } );
    };
    replaced_ = viewer.historyReplacedSignal.connect( [this] { watch_(); } );
    work_ = ProgressBar::endedSignal().connect( [this]( Clock::duration took ) { workEnded( took ); } );
    watch_();
}

void Autosave::watch_()
{
    changes_.disconnect();
    if ( const auto& history = viewer_.getHistoryStore() )
        changes_ =
            history->changedSignal.connect( [this]( const HistoryStore&, HistoryStore::ChangeType ) { onChange_(); } );
}

Autosave::~Autosave()
{
    finish( std::chrono::milliseconds( 0 ) );
}

void Autosave::start_()
{
    if ( std::exchange( shared_->running, true ) )
        return;
    std::thread( [shared = shared_] { run_( shared ); } ).detach();
}

void Autosave::onChange_()
{
    const std::lock_guard lock( shared_->mutex );
    if ( sceneDocument().isSaved() )
    {
        shared_->due.reset();
        shared_->waiting.reset();
        ++shared_->generation;
        shared_->dropping = shared_->running;
    }
    else
    {
        start_();
        if ( !shared_->due )
            shared_->due = Clock::now() + times_.interval;
    }
    shared_->wake.notify_one();
}

void Autosave::keepWhenIdle_()
{
    // Not while something is dragged; a moment later will do.
    if ( !ImGui::IsAnyMouseDown() )
        return keepNow();
    constexpr auto cMoment = std::chrono::seconds( 2 );
    const std::lock_guard lock( shared_->mutex );
    shared_->due = Clock::now() + cMoment;
    shared_->wake.notify_one();
}

void Autosave::keepNow()
{
    if ( sceneDocument().isSaved() )
        return;
    if ( geometryBytes( viewer_.sceneRoot() ) > cMostBytes )
        return spdlog::warn( "Unsaved work is not kept: the scene is larger than {} MiB", cMostBytes >> 20 );
    Snapshot snapshot{ {}, { sceneDocument().file(), secondsSinceEpoch() } };
    for ( const auto& object : viewer_.sceneRoot().children() )
        snapshot.roots.push_back( cloneTree( *object ) );
    const std::lock_guard lock( shared_->mutex );
    start_();
    shared_->due.reset();
    // Without objects there is nothing that could be offered.
    if ( snapshot.roots.empty() )
        shared_->dropping = true;
    else
        shared_->waiting = std::move( snapshot );
    shared_->wake.notify_one();
}

void Autosave::workEnded( Clock::duration took )
{
    const bool changed = [&]
    {
        const std::lock_guard lock( shared_->mutex );
        return shared_->due.has_value();
    }();
    if ( changed && took >= times_.longWork )
        keepNow();
}

void Autosave::adopt( RecoverySlot slot )
{
    const std::lock_guard lock( shared_->mutex );
    shared_->adopted = std::move( slot );
    start_();
    shared_->wake.notify_one();
}

bool Autosave::finish( std::chrono::milliseconds patience )
{
    changes_.disconnect();
    std::unique_lock lock( shared_->mutex );
    shared_->stopping = true;
    shared_->ask = [] {};
    ++shared_->generation;
    // Without this file nobody is offered the rest, even where the thread cannot tidy up in time.
    for ( auto* slot : { &shared_->slot, &shared_->adopted } )
        if ( *slot )
            ( *slot )->clear();
    shared_->wake.notify_one();
    return shared_->ended.wait_for( lock, patience, [&] { return !shared_->running; } );
}

void Autosave::run_( const std::shared_ptr<Shared>& shared )
{
    lowerPriority();
    std::unique_lock lock( shared->mutex );
    while ( !shared->stopping )
    {
        shared->takeAdopted();
        if ( std::exchange( shared->dropping, false ) && shared->slot )
            shared->slot->clear();
        if ( shared->waiting )
        {
            const auto snapshot = std::move( *shared->waiting );
            shared->waiting.reset();
            const uint64_t started = shared->generation;
            lock.unlock();
            shared->write( snapshot, started );
            lock.lock();
        }
        else if ( shared->due && Clock::now() >= *shared->due )
        {
            shared->due.reset();
            const auto ask = shared->ask;
            lock.unlock();
            ask();
            lock.lock();
        }
        else if ( shared->due )
            shared->wake.wait_until( lock, *shared->due );
        else
            shared->wake.wait( lock );
    }
    shared->takeAdopted();
    if ( shared->slot )
        shared->slot->remove();
    shared->slot.reset();
    shared->running = false;
    shared->ended.notify_all();
}

} // namespace VX
