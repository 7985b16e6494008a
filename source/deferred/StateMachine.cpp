#include <VXOrvanta/deferred/StateMachine.h>

#include <cassert>

namespace VX
{

RegularStateMachine::RegularStateMachine(
    std::unordered_map<int, std::function<int()>> states, int initialState, int finalState )
    : states_( std::move( states ) )
    , initialState_( initialState )
    , finalState_( finalState )
{
}

int RegularStateMachine::toState( int state ) const
{
    const auto it = states_.find( state );
    assert( it != states_.end() );
    return it->second();
}

ResumableStateMachine::ResumableStateMachine(
    std::unordered_map<int, Step> states, int initialState, int waitingState, int finalState )
    : states_( std::move( states ) )
    , initialState_( initialState )
    , waitingState_( waitingState )
    , finalState_( finalState )
{
}

int ResumableStateMachine::toState( int state ) const
{
    const auto it = states_.find( state );
    assert( it != states_.end() );
    return it->second( continuation_ );
}

} // namespace VX
