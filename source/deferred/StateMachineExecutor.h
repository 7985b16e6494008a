#pragma once

#include <VXOrvanta/deferred/StateMachine.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace VX
{

/// Drives state machines from their initial to their final state and owns them meanwhile.
///
/// It has no thread of its own: steps run at once, on the thread that adds a machine or calls its continuation, and
/// never under a lock, so a step may add further machines. An exception of a step leaves through that caller, and the
/// machine stays registered.
class VXORVANTA_API StateMachineExecutor
{
public:
    /// Registers and starts a machine; returns when it has run as far as it can without waiting. Any thread.
    static void addStateMachine( const std::shared_ptr<StateMachine>& machine );

private:
    friend struct StateMachineExecutorAccess;

    StateMachineExecutor() = default;
    static StateMachineExecutor& instance_();
    static void execute_( std::size_t id, const std::shared_ptr<StateMachine>& machine, int state );
    static void removeStateMachine_( std::size_t id );

    std::mutex mutex_;
    std::unordered_map<std::size_t, std::shared_ptr<StateMachine>> machines_;
    std::size_t nextId_ = 0;
};

} // namespace VX
