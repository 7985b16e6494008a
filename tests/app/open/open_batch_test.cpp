#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <open/OpenBatch.h>

#include <VXMesh/formats/FileFormats.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>

using namespace VX;
using namespace VX::App;

namespace
{

/// What is done with files of a format that somebody else reads.
struct Elsewhere
{
    std::mutex mutex;
    std::map<std::string, AsyncLoad::Done> started;
    std::map<std::string, ProgressCallback> progress;
    std::vector<std::string> forgotten;
    std::set<std::string> taken;
    size_t blocking = 0;

    static Elsewhere& instance()
    {
        static auto* sElsewhere = new Elsewhere;
        return *sElsewhere;
    }
};

class Load final : public AsyncLoad
{
public:
    explicit Load( const std::filesystem::path& file )
        : name_( file.filename().string() )
    {
    }
    [[nodiscard]] bool tryBegin() override
    {
        auto& all = Elsewhere::instance();
        const std::lock_guard lock( all.mutex );
        return !all.taken.contains( name_ );
    }
    void start( Done done, const ProgressCallback& progress ) override
    {
        auto& all = Elsewhere::instance();
        const std::lock_guard lock( all.mutex );
        all.started[name_] = std::move( done );
        all.progress[name_] = progress;
    }

private:
    std::string name_;
};

void registerElsewhere()
{
    FileFormats::add( { .name = "Read elsewhere",
        .extensions = { ".elsewhere" },
        .load = []( const std::filesystem::path&, const ProgressCallback& ) -> LoadResult
        {
            ++Elsewhere::instance().blocking;
            return LoadedObjects{};
        },
        .loadAsync = []( const std::filesystem::path& file ) { return std::make_shared<Load>( file ); },
        .forget = []( const std::filesystem::path& file )
        { Elsewhere::instance().forgotten.push_back( file.filename().string() ); } } );
}

/// Batches of files, some of which are read elsewhere.
class OpenBatches : public testing::Test
{
protected:
    void SetUp() override
    {
        static const bool sRegistered = ( registerElsewhere(), true );
        ASSERT_TRUE( sRegistered );
        auto& all = Elsewhere::instance();
        all.started.clear();
        all.progress.clear();
        all.forgotten.clear();
        all.taken.clear();
        all.blocking = 0;
    }
    void TearDown() override
    {
        if ( !thread_.joinable() )
            return;
        batch_->cancel();
        thread_.join();
    }

    std::filesystem::path elsewhere( const std::string& name ) { return folder_.write( name + ".elsewhere", "x" ); }
    void make( const std::vector<std::filesystem::path>& files, OpenBatch::Mode mode = OpenBatch::Mode::Open )
    {
        batch_ = std::make_shared<OpenBatch>( files, mode );
    }
    /// Starts the batch on a thread of its own.
    void runSideBySide()
    {
        thread_ = std::thread(
            [this, batch = batch_]
            {
                batch->runSideBySide( { [this]( float fraction ) { return note_( fraction ); },
                    [this]( const std::string& stage ) { noteStage_( stage ); } } );
            } );
    }
    void finish( const std::string& name, LoadResult result )
    {
        AsyncLoad::Done done;
        waitFor( [&] { return started( name ); } );
        {
            auto& all = Elsewhere::instance();
            const std::lock_guard lock( all.mutex );
            done = all.started[name + ".elsewhere"];
        }
        done( std::move( result ) );
    }
    static bool started( const std::string& name )
    {
        auto& all = Elsewhere::instance();
        const std::lock_guard lock( all.mutex );
        return all.started.contains( name + ".elsewhere" );
    }
    static bool report( const std::string& name, float fraction )
    {
        ProgressCallback progress;
        {
            auto& all = Elsewhere::instance();
            const std::lock_guard lock( all.mutex );
            progress = all.progress.at( name + ".elsewhere" );
        }
        return progress( fraction );
    }
    static size_t startedCount()
    {
        auto& all = Elsewhere::instance();
        const std::lock_guard lock( all.mutex );
        return all.started.size();
    }
    static void take( const std::string& name, bool taken )
    {
        auto& all = Elsewhere::instance();
        const std::lock_guard lock( all.mutex );
        if ( taken )
            all.taken.insert( name + ".elsewhere" );
        else
            all.taken.erase( name + ".elsewhere" );
    }
    template <typename Condition>
    static void waitFor( const Condition& condition )
    {
        const Testing::Patience patience;
        while ( !condition() )
        {
            patience.check();
            std::this_thread::yield();
        }
    }
    bool wasSaid( const std::string& stage )
    {
        const std::lock_guard lock( mutex_ );
        return std::find( stages_.begin(), stages_.end(), stage ) != stages_.end();
    }
    bool wasReported( float fraction )
    {
        const std::lock_guard lock( mutex_ );
        return std::find( fractions_.begin(), fractions_.end(), fraction ) != fractions_.end();
    }
    void join() { thread_.join(); }

    Testing::ScratchFolder folder_;
    std::shared_ptr<OpenBatch> batch_;
    std::atomic<bool> goOn_ = true;

private:
    bool note_( float fraction )
    {
        const std::lock_guard lock( mutex_ );
        fractions_.push_back( fraction );
        return goOn_;
    }
    void noteStage_( const std::string& stage )
    {
        const std::lock_guard lock( mutex_ );
        stages_.push_back( stage );
    }

    std::thread thread_;
    std::mutex mutex_;
    std::vector<float> fractions_;
    std::vector<std::string> stages_;
};

} // namespace

TEST_F( OpenBatches, AFormatWithoutAnAsynchronousLoadIsReadOneAfterTheOther )
{
    make( { folder_.write( "a.vxu", Testing::cubeFile() ), elsewhere( "b" ), folder_.path() / "c.nobody" } );
    EXPECT_EQ( batch_->sideBySideCount(), 1u );
}

TEST_F( OpenBatches, FilesAreLoadedSideBySideWhileOthersAreRead )
{
    make( { elsewhere( "a" ), folder_.write( "cube.vxu", Testing::cubeFile() ), elsewhere( "b" ) } );
    runSideBySide();
    waitFor( [&] { return started( "a" ) && started( "b" ); } );
    waitFor( [&] { return wasSaid( "1 of 3 are ready" ); } );
    EXPECT_TRUE( report( "a", 0.5f ) );
    waitFor( [&] { return wasReported( 0.5f ); } ); // one file, and half of another, of three
    finish( "b", tl::unexpected( std::string( "b is broken" ) ) );
    waitFor( [&] { return wasSaid( "2 of 3 are ready" ); } );
    finish( "a", LoadedObjects{} );
    join();
    auto& files = batch_->files();
    EXPECT_TRUE( *files[0].result );
    EXPECT_EQ( ( *files[1].result )->objects.size(), 1u );
    ASSERT_FALSE( *files[2].result );
    EXPECT_EQ( files[2].result->error(), "b is broken" );
    EXPECT_EQ( Elsewhere::instance().blocking, 0u );
}

TEST_F( OpenBatches, AtMostEightAreOnTheirWayAtOnce )
{
    std::vector<std::filesystem::path> files;
    for ( int i = 0; i < 10; ++i )
        files.push_back( elsewhere( std::to_string( i ) ) );
    make( files );
    runSideBySide();
    waitFor( [&] { return startedCount() == 8; } );
    waitFor( [&] { return wasSaid( "0 of 10 are ready" ); } );
    EXPECT_EQ( startedCount(), 8u );
    finish( "3", LoadedObjects{} );
    waitFor( [&] { return startedCount() == 9; } );
    EXPECT_TRUE( started( "8" ) );
    EXPECT_FALSE( started( "9" ) );
}

TEST_F( OpenBatches, WaitsItsTurnAndSaysForWhichFile )
{
    take( "a", true );
    make( { elsewhere( "a" ) } );
    runSideBySide();
    waitFor( [&] { return wasSaid( "Waiting for another import of a.elsewhere" ); } );
    EXPECT_FALSE( started( "a" ) );
    take( "a", false );
    finish( "a", LoadedObjects{} );
    join();
    EXPECT_TRUE( wasSaid( "Converting" ) );
}

TEST_F( OpenBatches, AnotherGoesAheadOfOneThatHasToWait )
{
    take( "a", true );
    make( { elsewhere( "a" ), elsewhere( "b" ) } );
    runSideBySide();
    waitFor( [&] { return started( "b" ); } );
    EXPECT_FALSE( started( "a" ) );
    EXPECT_FALSE( wasSaid( "Waiting for another import of a.elsewhere" ) ) << "while something is done";
}

TEST_F( OpenBatches, ACanceledBatchEndsAtOnceAndItsLoadsAreToldSo )
{
    make( { elsewhere( "a" ), elsewhere( "b" ) } );
    runSideBySide();
    waitFor( [&] { return startedCount() == 2; } );
    batch_->cancel();
    join();
    EXPECT_FALSE( report( "a", 0.1f ) );
    EXPECT_FALSE( batch_->files()[0].result );
}

TEST_F( OpenBatches, WhoIsToldToStopByTheBarStops )
{
    make( { elsewhere( "a" ), elsewhere( "b" ) } );
    runSideBySide();
    waitFor( [&] { return startedCount() == 2; } );
    goOn_ = false;
    (void)report( "a", 0.1f );
    join();
    EXPECT_TRUE( batch_->isCanceled() );
}

TEST_F( OpenBatches, ALoadThatOutlivesItsBatchIsToldToStopAndItsResultIsDropped )
{
    make( { elsewhere( "a" ), elsewhere( "b" ) } );
    runSideBySide();
    waitFor( [&] { return startedCount() == 2; } );
    batch_->cancel();
    join();
    batch_.reset();
    EXPECT_FALSE( report( "a", 0.5f ) );
    finish( "a", LoadedObjects{} );
}

TEST_F( OpenBatches, OneAfterTheOtherUsesTheBlockingLoad )
{
    make( { elsewhere( "a" ), elsewhere( "b" ) } );
    batch_->run( { {}, []( const std::string& ) {} } );
    EXPECT_EQ( Elsewhere::instance().blocking, 2u );
    EXPECT_EQ( startedCount(), 0u );
}

TEST_F( OpenBatches, OnlyALoadAnewForgetsTheFormerOnes )
{
    for ( const auto mode : { OpenBatch::Mode::Open, OpenBatch::Mode::Scene, OpenBatch::Mode::Reload } )
    {
        make( { elsewhere( "a" ) }, mode );
        batch_->run( { {}, []( const std::string& ) {} } );
    }
    EXPECT_TRUE( Elsewhere::instance().forgotten.empty() );
    make( { elsewhere( "a" ), folder_.write( "cube.vxu", Testing::cubeFile() ), folder_.path() / "c.nobody" },
        OpenBatch::Mode::LoadAnew );
    batch_->run( { {}, []( const std::string& ) {} } );
    EXPECT_EQ( Elsewhere::instance().forgotten, std::vector<std::string>{ "a.elsewhere" } );
}
