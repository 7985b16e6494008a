#pragma once

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/work/Job.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace VX::Testing
{

/// What the starter of a job was told, and where.
struct Told
{
    std::vector<Job::End> ends;
    std::string error;
    std::thread::id thread;

    [[nodiscard]] Job::Ended listener()
    {
        return [this]( const Job::Outcome& outcome )
        {
            ends.push_back( outcome.end );
            error = outcome.error;
            thread = std::this_thread::get_id();
        };
    }
};

/// A door that the work of a job waits at, until the test lets it through.
class Door
{
public:
    void pass()
    {
        reached_.set_value();
        opened_.get_future().wait();
    }
    void waitForSomebody() { reached_.get_future().wait(); }
    void open() { opened_.set_value(); }

private:
    std::promise<void> reached_, opened_;
};

/// Jobs whose starter writes down what it is told.
class JobFixture : public testing::Test
{
protected:
    static constexpr auto cPatience = std::chrono::seconds( 5 );

    void SetUp() override
    {
        CommandLoop::open();
        CommandLoop::processCommands();
    }
    void TearDown() override { EXPECT_TRUE( Job::endAll( cPatience ) ); }

    Job start( Job::Work work ) { return *Job::start( "job", std::move( work ), told_.listener() ); }
    /// One that stands at a door, and succeeds behind it.
    Job startBehind( Door& door )
    {
        const auto job = start(
            [&door]( const Job& ) -> tl::expected<void, std::string>
            {
                door.pass();
                return {};
            } );
        door.waitForSomebody();
        return job;
    }
    /// Turns the loop until the starter was told, and once more for what must not come.
    void turnUntilTold() const
    {
        while ( told_.ends.empty() )
            CommandLoop::processCommands();
        EXPECT_TRUE( Job::endAll( cPatience ) );
        CommandLoop::processCommands();
    }

    Told told_;
};

} // namespace VX::Testing
