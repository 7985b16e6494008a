#include <VXViewer/loop/CommandLoop.h>

#include <VXViewer/loop/Wake.h>

#include <spdlog/spdlog.h>

#include <deque>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

namespace VX
{

struct CommandLoop::Impl
{
    std::mutex mutex;
    std::deque<Command> commands;
    std::thread::id uiThread;
    bool closed = false;
};

// Never destroyed: worker threads may still queue a command while the process ends.
CommandLoop::Impl& CommandLoop::instance_()
{
    static auto* sImpl = new Impl;
    return *sImpl;
}

void CommandLoop::appendCommand( Command command )
{
    auto& impl = instance_();
    {
        const std::lock_guard lock( impl.mutex );
        if ( impl.closed )
            return;
        impl.commands.push_back( std::move( command ) );
    }
    wake();
}

void CommandLoop::runCommandFromGUIThread( Command command )
{
    auto& impl = instance_();
    bool here = false;
    {
        const std::lock_guard lock( impl.mutex );
        here = impl.uiThread == std::this_thread::get_id();
    }
    if ( here )
        return command();

    // A dropped command breaks its promise, which lets the waiting caller go.
    auto promise = std::make_shared<std::promise<void>>();
    auto done = promise->get_future();
    appendCommand(
        [promise = std::move( promise ), command = std::move( command )]
        {
            command();
            promise->set_value();
        } );
    done.wait();
}

void CommandLoop::processCommands()
{
    auto& impl = instance_();
    std::unique_lock lock( impl.mutex );
    impl.uiThread = std::this_thread::get_id();
    if ( impl.commands.empty() )
        return;
    std::deque<Command> commands;
    commands.swap( impl.commands );
    lock.unlock();
    for ( auto& command : commands )
    {
        try
        {
            command();
        }
        catch ( const std::exception& e )
        {
            spdlog::error( "A command failed: {}", e.what() );
        }
        catch ( ... )
        {
            spdlog::error( "A command failed: unknown error" );
        }
        command = nullptr;
    }
}

void CommandLoop::close()
{
    auto& impl = instance_();
    std::deque<Command> dropped; // destroyed after the lock is given up: commands may own anything
    {
        const std::lock_guard lock( impl.mutex );
        impl.closed = true;
        dropped.swap( impl.commands );
    }
}

void CommandLoop::open()
{
    auto& impl = instance_();
    const std::lock_guard lock( impl.mutex );
    impl.closed = false;
}

bool CommandLoop::isEmpty()
{
    auto& impl = instance_();
    const std::lock_guard lock( impl.mutex );
    return impl.commands.empty();
}

} // namespace VX
