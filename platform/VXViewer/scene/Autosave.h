#pragma once

#include <VXViewer/Export.h>
#include <VXViewer/loop/LifeToken.h>
#include <VXViewer/scene/RecoverySlot.h>

#include <boost/signals2/connection.hpp>

#include <chrono>
#include <memory>

namespace VX
{

class Viewer;

/// Keeps unsaved work on the disk while a viewer runs, so that a crash costs a person two minutes of it and no more.
///
/// A copy of the scene, which shares its geometry, is made on the UI thread and packed and written by a thread of its
/// own with low priority. What is kept goes when the scene is saved, emptied or closed. Nothing happens while nothing
/// is unsaved. UI thread.
class VXVIEWER_API Autosave
{
public:
    struct Times
    {
        /// From the first change that is not kept until it is.
        std::chrono::milliseconds interval{ 120000 };
        /// Work that took this long is kept at once when it is done.
        std::chrono::milliseconds longWork{ 5000 };
    };
    /// A scene whose geometry is larger is not kept.
    static constexpr uint64_t cMostBytes = uint64_t( 2 ) << 30;

    /// The folder is made when there is something to keep.
    Autosave( Viewer& viewer, std::filesystem::path folder );
    /// As `finish` with no patience.
    ~Autosave();
    Autosave( const Autosave& ) = delete;
    Autosave& operator=( const Autosave& ) = delete;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    void setTimes( const Times& times ) { times_ = times; }

    /// Keeps the scene now, in the background, if anything of it is unsaved.
    void keepNow();
    /// Long work has ended: what it did is kept now.
    void workEnded( std::chrono::steady_clock::duration took );
    /// Goes on in the slot of a program that died, whose work has just been taken over.
    void adopt( RecoverySlot slot );

    /// Drops what is kept, because the scene was closed on purpose. False when the thread did not end in that time.
    bool finish( std::chrono::milliseconds patience );

private:
    struct Shared;

    void watch_();
    void start_();
    void onChange_();
    void keepWhenIdle_();
    static void run_( const std::shared_ptr<Shared>& shared );

    Viewer& viewer_;
    std::filesystem::path folder_;
    Times times_;
    std::shared_ptr<Shared> shared_;
    LifeToken life_; ///< for commands that are still queued; the thread keeps `shared_` longer
    boost::signals2::scoped_connection changes_, replaced_, work_;
};

} // namespace VX
