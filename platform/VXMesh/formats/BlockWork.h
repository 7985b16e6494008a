#pragma once

#include <VXMesh/io/Progress.h>

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace VX
{

/// Work of several threads over long arrays, cut into blocks: between two blocks each thread looks whether it shall go
/// on, and the one that began the work, the only one that may, reports its progress now and then.
class BlockWork
{
public:
    /// The callback must outlive this object.
    explicit BlockWork( const ProgressCallback& progress )
        : progress_( progress )
    {
    }

    /// The part of the whole progress that a stage takes.
    struct Stage
    {
        float from = 0, to = 1;
        bool reports = false; ///< whether this is the thread that began the work
    };

    /// Calls `work( begin, end )` for block after block of begin..end until somebody stops.
    template <typename Work>
    void forBlocks( size_t begin, size_t end, size_t block, const Stage& stage, const Work& work )
    {
        size_t report = begin;
        for ( size_t at = begin; at < end; at += block )
        {
            if ( stage.reports && at >= report )
            {
                const float done = float( at - begin ) / float( end - begin );
                report_( stage.from + ( stage.to - stage.from ) * done );
                report = at + cBetweenReports;
            }
            if ( stopped_ )
                return;
            work( at, std::min( at + block, end ) );
        }
    }

    void stop() { stopped_ = true; }
    [[nodiscard]] bool stopped() const { return stopped_; }

private:
    static constexpr size_t cBetweenReports = 4096;

    void report_( float fraction )
    {
        if ( !reportProgress( progress_, fraction ) )
            stopped_ = true;
    }

    const ProgressCallback& progress_;
    std::atomic<bool> stopped_ = false;
};

} // namespace VX
