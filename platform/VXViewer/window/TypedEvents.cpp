#include <VXViewer/window/TypedEvents.h>

#include <GLFW/glfw3.h>

#include <set>

namespace VX
{
namespace
{

bool isModifier( const TypedEvent& event )
{
    return event.key >= GLFW_KEY_LEFT_SHIFT && event.key <= GLFW_KEY_RIGHT_SUPER;
}

/// Whether it is a key that acts by itself, as Tab, Enter and Ctrl+V do, and not one that types a character.
bool isCommand( const TypedEvent& event )
{
    const bool withControl = event.modifiers & ( GLFW_MOD_CONTROL | GLFW_MOD_ALT | GLFW_MOD_SUPER );
    return event.codePoint == 0 && !isModifier( event ) && ( event.key >= GLFW_KEY_ESCAPE || withControl );
}

} // namespace

std::vector<TypedEvent> TypedEvents::takeForFrame()
{
    std::vector<TypedEvent> out;
    std::set<int> changed;
    bool characters = false, commands = false;
    for ( ; !waiting_.empty(); waiting_.pop_front() )
    {
        const auto& event = waiting_.front();
        const bool command = isCommand( event );
        if ( ( command && characters ) || ( commands && ( event.codePoint != 0 || isModifier( event ) ) ) )
            break;
        if ( event.codePoint == 0 && changed.contains( event.key ) )
            break;
        if ( command || isModifier( event ) )
            changed.insert( event.key );
        characters = characters || event.codePoint != 0;
        commands = commands || command;
        out.push_back( event );
    }
    return out;
}

} // namespace VX
