#include "support/ScratchFolder.h"

#include <files/FileWatch.h>

#include <gtest/gtest.h>

#include <condition_variable>

using namespace VX::App;

namespace
{

class Watching : public testing::Test
{
protected:
    /// Waits for the next file that is told.
    std::filesystem::path next()
    {
        std::unique_lock lock( mutex_ );
        told_.wait( lock, [this] { return !files_.empty(); } );
        auto out = files_.front();
        files_.erase( files_.begin() );
        return out;
    }

    VX::Testing::ScratchFolder folder_;
    std::mutex mutex_;
    std::condition_variable told_;
    std::vector<std::filesystem::path> files_;
    FileWatch watch_{ [this]( const std::filesystem::path& file )
        {
            const std::lock_guard lock( mutex_ );
            files_.push_back( file );
            told_.notify_all();
        } };
};

} // namespace

TEST_F( Watching, TellsOfAFileThatWasWrittenOrReplaced )
{
    const auto file = folder_.write( "a", "1" );
    watch_.watch( file );
    folder_.write( "a", "2" );
    EXPECT_EQ( next(), file );
    std::filesystem::rename( folder_.write( "new", "3" ), file );
    EXPECT_EQ( next(), file );
}

TEST_F( Watching, TellsOfNoOtherFile )
{
    const auto a = folder_.write( "a", "1" ), b = folder_.write( "b", "1" );
    watch_.watch( a );
    watch_.watch( b );
    folder_.write( "other", "2" );
    watch_.unwatch( a );
    folder_.write( "a", "2" );
    folder_.write( "b", "2" );
    EXPECT_EQ( next(), b );
}

TEST_F( Watching, AFolderThatIsNotThereIsNoProblem )
{
    watch_.watch( folder_.path() / "none" / "a" );
    const auto file = folder_.write( "a", "1" );
    watch_.watch( file );
    folder_.write( "a", "2" );
    EXPECT_EQ( next(), file );
}
