#pragma once

#include <VXOrvanta/Export.h>

#include <functional>
#include <unordered_map>

namespace VX
{

/// A job written as numbered states: the step of a state does some work and returns the next state.
///
/// `StateMachineExecutor` drives it. A state without a step must never be reached, except for the final one and a
/// resumable machine's waiting one.
///
/// The order of the virtual functions, and of the members of the machines below, is the binary interface: programs that
/// are built already find each by its place.
class VXORVANTA_API StateMachine
{
public:
    virtual ~StateMachine() = default;

    /// The state in which a run begins.
    [[nodiscard]] virtual int initialState() const = 0;
    /// The state at which a run ends; its own step is never called.
    [[nodiscard]] virtual int finalState() const = 0;
    /// Runs the step of a state and returns the next state.
    [[nodiscard]] virtual int toState( int state ) const = 0;
};

/// A machine whose steps all finish at once.
class VXORVANTA_API RegularStateMachine : public StateMachine
{
public:
    RegularStateMachine( std::unordered_map<int, std::function<int()>> states, int initialState, int finalState );

    [[nodiscard]] int initialState() const override { return initialState_; }
    [[nodiscard]] int finalState() const override { return finalState_; }
    [[nodiscard]] int toState( int state ) const override;

private:
    std::unordered_map<int, std::function<int()>> states_;
    int initialState_;
    int finalState_;
};

/// A machine whose steps may start asynchronous work: such a step keeps a copy of the continuation it is given, returns
/// the waiting state, and has the continuation called later, from any thread, with the state to carry on at.
///
/// The continuation must be called after the step has returned, and not twice for one wait. It holds the machine, which
/// therefore stays alive after its run together with whatever its steps hold.
class VXORVANTA_API ResumableStateMachine final : public StateMachine
{
public:
    using Continuation = std::function<void( int )>;
    using Step = std::function<int( const Continuation& )>;

    ResumableStateMachine( std::unordered_map<int, Step> states, int initialState, int waitingState, int finalState );

    [[nodiscard]] int initialState() const override { return initialState_; }
    [[nodiscard]] int finalState() const override { return finalState_; }
    [[nodiscard]] int toState( int state ) const override;

private:
    friend class StateMachineExecutor;
    friend struct StateMachineExecutorAccess;

    std::unordered_map<int, Step> states_;
    int initialState_;
    int waitingState_;
    int finalState_;
    Continuation continuation_;
};

} // namespace VX
