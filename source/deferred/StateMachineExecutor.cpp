#include <VXOrvanta/deferred/StateMachineExecutor.h>

#include <typeinfo>

namespace VX
{
namespace
{

/// The machine as a resumable one, or null. The class is final, so its exact type is enough and costs one comparison.
ResumableStateMachine* asResumable( StateMachine& machine )
{
    return typeid( machine ) == typeid( ResumableStateMachine ) ? static_cast<ResumableStateMachine*>( &machine )
                                                                : nullptr;
}

} // namespace

StateMachineExecutor& StateMachineExecutor::instance_()
{
    static StateMachineExecutor sInstance;
    return sInstance;
}

void StateMachineExecutor::addStateMachine( const std::shared_ptr<StateMachine>& machine )
{
    auto& self = instance_();
    std::size_t id = 0;
    {
        const std::lock_guard lock( self.mutex_ );
        id = self.nextId_++;
        self.machines_.emplace( id, machine );
    }
    if ( auto* resumable = asResumable( *machine ) )
        resumable->continuation_ = [id, machine]( int state ) { execute_( id, machine, state ); };
    execute_( id, machine, machine->initialState() );
}

void StateMachineExecutor::execute_( std::size_t id, const std::shared_ptr<StateMachine>& machine, int state )
{
    // A step may let go of the reference that was given, and of the machine with it.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it keeps the machine
    const auto running = machine;
    const auto* resumable = asResumable( *running );
    while ( state != running->finalState() )
    {
        if ( resumable && state == resumable->waitingState_ )
            return;
        state = running->toState( state );
    }
    removeStateMachine_( id );
}

void StateMachineExecutor::removeStateMachine_( std::size_t id )
{
    auto& self = instance_();
    // The node is destroyed after the lock is given up: a machine's steps may own anything.
    decltype( machines_ )::node_type removed;
    const std::lock_guard lock( self.mutex_ );
    removed = self.machines_.extract( id );
}

} // namespace VX
