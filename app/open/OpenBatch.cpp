#include "open/OpenBatch.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace VX::App
{
namespace
{

constexpr size_t cSideBySide = 8;
/// How many names are tried in one go, and how often: another program may have them.
constexpr size_t cTriesAtOnce = 32;
constexpr auto cTurnInterval = std::chrono::milliseconds( 100 );

bool loadsSideBySide( const OpenBatch::File& file )
{
    const auto* format = FileFormats::find( file.path );
    return format && format->loadAsync;
}

} // namespace

OpenBatch::OpenBatch( const std::vector<std::filesystem::path>& files, Mode mode )
    : mode_( mode )
    , fractions_( files.size() )
{
    for ( const auto& file : files )
        files_.push_back( { file, {}, {} } );
}

size_t OpenBatch::sideBySideCount() const
{
    return size_t( std::count_if( files_.begin(), files_.end(), loadsSideBySide ) );
}

void OpenBatch::cancel()
{
    const std::lock_guard lock( mutex_ );
    canceled_ = hasNews_ = true;
    news_.notify_all();
}

bool OpenBatch::isCanceled() const
{
    const std::lock_guard lock( mutex_ );
    return canceled_;
}

float OpenBatch::setFraction_( size_t index, float fraction )
{
    const std::lock_guard lock( mutex_ );
    sum_ += double( fraction ) - double( std::exchange( fractions_[index], fraction ) );
    hasNews_ = true;
    news_.notify_all();
    return float( sum_ / double( files_.size() ) );
}

void OpenBatch::begin_( size_t index )
{
    files_[index].identity = identityOf( files_[index].path );
    if ( const auto* format = FileFormats::find( files_[index].path );
        mode_ == Mode::LoadAnew && format && format->forget )
        format->forget( files_[index].path );
}

void OpenBatch::store_( size_t index, LoadResult result )
{
    (void)setFraction_( index, 1 );
    const std::lock_guard lock( mutex_ );
    files_[index].result = std::move( result );
    ++done_;
    hasNews_ = true;
    news_.notify_all();
}

void OpenBatch::read_( size_t index, const Bar& bar )
{
    begin_( index );
    const auto progress = [this, index, report = bar.progress]( float fraction )
    {
        const float all = setFraction_( index, fraction );
        if ( !reportProgress( report, all ) )
            cancel();
        return !isCanceled();
    };
    store_( index, loadObjectFromFile( files_[index].path, progress ) );
}

void OpenBatch::run( const Bar& bar )
{
    using Clock = std::chrono::steady_clock;
    const auto thread = std::this_thread::get_id();
    auto namedAt = Clock::time_point{};
    size_t named = files_.size();
    // Thousands of small files would make the window draw as many names.
    const auto name = [&]( size_t index )
    {
        const auto now = Clock::now();
        if ( files_.size() == 1 || named == index || now - namedAt < cTurnInterval )
            return;
        namedAt = now;
        named = index;
        bar.stage( std::to_string( index + 1 ) + " of " + std::to_string( files_.size() ) + ": " +
                   utf8string( files_[index].path.filename() ) );
    };
    for ( size_t i = 0; i < files_.size() && !isCanceled(); ++i )
    {
        name( i );
        const auto progress = [&]( float all )
        {
            if ( std::this_thread::get_id() == thread )
                name( i );
            return reportProgress( bar.progress, all );
        };
        read_( i, { progress, bar.stage } );
        if ( !reportProgress( bar.progress, float( i + 1 ) / float( files_.size() ) ) )
            cancel();
    }
}

void OpenBatch::startLoad_( size_t index, const std::shared_ptr<AsyncLoad>& load )
{
    begin_( index );
    {
        const std::lock_guard lock( mutex_ );
        ++loading_;
    }
    // The load outlives a batch that was given up, and whatever is asked after that ends it.
    const auto progress = [weak = weak_from_this(), index]( float fraction )
    {
        const auto batch = weak.lock();
        if ( batch )
            (void)batch->setFraction_( index, fraction );
        return batch && !batch->isCanceled();
    };
    const auto done = [weak = weak_from_this(), index]( LoadResult result )
    {
        const auto batch = weak.lock();
        if ( !batch )
            return;
        {
            const std::lock_guard lock( batch->mutex_ );
            --batch->loading_;
        }
        batch->store_( index, std::move( result ) );
    };
    load->start( done, progress );
}

void OpenBatch::startLoads_( std::deque<size_t>& waiting )
{
    for ( size_t tries = std::min( waiting.size(), cTriesAtOnce ); tries > 0; --tries )
    {
        {
            const std::lock_guard lock( mutex_ );
            if ( loading_ >= cSideBySide || canceled_ )
                return;
        }
        const size_t index = waiting.front();
        waiting.pop_front();
        const auto load = FileFormats::find( files_[index].path )->loadAsync( files_[index].path );
        if ( load->tryBegin() )
            startLoad_( index, load );
        else
            waiting.push_back( index );
    }
}

void OpenBatch::waitForNews_( bool forTurn )
{
    std::unique_lock lock( mutex_ );
    const auto hasNews = [this] { return hasNews_; };
    if ( forTurn )
        news_.wait_for( lock, cTurnInterval, hasNews );
    else
        news_.wait( lock, hasNews );
    hasNews_ = false;
}

std::string OpenBatch::stageSideBySide_( const std::deque<size_t>& waiting ) const
{
    const std::lock_guard lock( mutex_ );
    if ( loading_ == 0 && !waiting.empty() )
        return "Waiting for another import of " + utf8string( files_[waiting.front()].path.filename() );
    return files_.size() == 1 ? "Converting"
                              : std::to_string( done_ ) + " of " + std::to_string( files_.size() ) + " are ready";
}

void OpenBatch::runSideBySide( const Bar& bar )
{
    std::deque<size_t> sideBySide, others;
    for ( size_t i = 0; i < files_.size(); ++i )
        ( loadsSideBySide( files_[i] ) ? sideBySide : others ).push_back( i );
    for ( ;; )
    {
        startLoads_( sideBySide );
        bar.stage( stageSideBySide_( sideBySide ) );
        float all = 0;
        {
            const std::lock_guard lock( mutex_ );
            if ( canceled_ || done_ == files_.size() )
                return;
            all = float( sum_ / double( files_.size() ) );
        }
        if ( !reportProgress( bar.progress, all ) )
            cancel();
        else if ( !others.empty() )
        {
            read_( others.front(), bar );
            others.pop_front();
        }
        else
            waitForNews_( !sideBySide.empty() );
    }
}

} // namespace VX::App
