#include <VXViewer/dialogs/ShortcutManager.h>

#include <VXMesh/io/Text.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <tuple>

namespace VX
{
namespace
{

constexpr int cModifiers = ShiftModifier | ControlModifier | AltModifier | SuperModifier;

const std::map<int, const char*>& namedKeys()
{
    static const std::map<int, const char*> sNames{ { GLFW_KEY_SPACE, "Space" }, { GLFW_KEY_ESCAPE, "Esc" },
        { GLFW_KEY_ENTER, "Enter" }, { GLFW_KEY_TAB, "Tab" }, { GLFW_KEY_BACKSPACE, "Backspace" },
        { GLFW_KEY_INSERT, "Ins" }, { GLFW_KEY_DELETE, "Del" }, { GLFW_KEY_RIGHT, "Right" }, { GLFW_KEY_LEFT, "Left" },
        { GLFW_KEY_DOWN, "Down" }, { GLFW_KEY_UP, "Up" }, { GLFW_KEY_PAGE_UP, "PgUp" }, { GLFW_KEY_PAGE_DOWN, "PgDn" },
        { GLFW_KEY_HOME, "Home" }, { GLFW_KEY_END, "End" } };
    return sNames;
}

std::string keyName( int key )
{
    if ( const auto it = namedKeys().find( key ); it != namedKeys().end() )
        return it->second;
    if ( key > GLFW_KEY_SPACE && key < GLFW_KEY_ESCAPE )
        return { char( key ) };
    if ( key >= GLFW_KEY_F1 && key <= GLFW_KEY_F25 )
        return fmt::format( "F{}", key - GLFW_KEY_F1 + 1 );
    if ( key >= GLFW_KEY_KP_0 && key <= GLFW_KEY_KP_9 )
        return fmt::format( "Num {}", key - GLFW_KEY_KP_0 );
    return fmt::format( "Key {}", key );
}

std::optional<int> keyNamed( const std::string& lowerCase )
{
    for ( int key = GLFW_KEY_SPACE; key <= GLFW_KEY_LAST; ++key )
        if ( toLower( keyName( key ) ) == lowerCase )
            return key;
    return {};
}

int modifierNamed( const std::string& lowerCase )
{
    static const std::map<std::string, int> sModifiers{
        { "ctrl", ControlModifier }, { "alt", AltModifier }, { "shift", ShiftModifier }, { "super", SuperModifier } };
    const auto it = sModifiers.find( lowerCase );
    return it == sModifiers.end() ? 0 : it->second;
}

} // namespace

ShortcutManager::ShortcutManager( const Commands& basic )
    : basic_( basic.begin(), basic.end() )
    , commands_( basic_ )
{
}

tl::expected<void, std::string> ShortcutManager::setShortcut( ShortcutKey key, Command command )
{
    key.mod &= cModifiers;
    const auto it = commands_.find( key );
    if ( it != commands_.end() && it->second.name != command.name )
        return tl::unexpected( fmt::format( "{} is the key of \"{}\" and cannot be that of \"{}\", too",
            getKeyFullString( key ), it->second.name, command.name ) );
    commands_.insert_or_assign( key, std::move( command ) );
    revision_ = nextRevision_();
    return {};
}

void ShortcutManager::clear()
{
    commands_ = basic_;
    revision_ = nextRevision_();
}

uint64_t ShortcutManager::nextRevision_()
{
    static uint64_t sLast = 0;
    return ++sLast;
}

bool ShortcutManager::processShortcut( ShortcutKey key, bool repeated ) const
{
    key.mod &= cModifiers;
    const auto it = commands_.find( key );
    if ( it == commands_.end() || ( repeated && !it->second.repeatable ) )
        return false;
    // The command may bind keys anew, this one too.
    const auto action = it->second.action;
    action();
    return true;
}

std::optional<ShortcutKey> ShortcutManager::findShortcutByName( const std::string& name ) const
{
    std::optional<ShortcutKey> second;
    for ( const auto& [key, command] : commands_ )
        if ( command.name == name && !command.another )
            return key;
        else if ( command.name == name )
            second = key;
    return second;
}

std::vector<ShortcutManager::Entry> ShortcutManager::getShortcutList() const
{
    std::vector<Entry> out;
    out.reserve( commands_.size() );
    for ( const auto& [key, command] : commands_ )
        out.push_back( { key, &command } );
    const auto order = []( const Entry& entry )
    { return std::tie( entry.command->category, entry.command->name, entry.key ); };
    std::sort( out.begin(), out.end(), [&]( const Entry& a, const Entry& b ) { return order( a ) < order( b ); } );
    return out;
}

const char* ShortcutManager::categoryName( Category category )
{
    constexpr std::array<const char*, cCategories> cNames{
        "Information", "Edit", "View", "Scene", "Objects", "Selection" };
    return cNames.at( size_t( category ) );
}

std::string ShortcutManager::getKeyFullString( ShortcutKey key )
{
    std::string out;
    if ( key.mod & ControlModifier )
        out += "Ctrl+";
    if ( key.mod & AltModifier )
        out += "Alt+";
    if ( key.mod & ShiftModifier )
        out += "Shift+";
    if ( key.mod & SuperModifier )
        out += "Super+";
    return out + keyName( key.key );
}

std::optional<ShortcutKey> ShortcutManager::parseKey( const std::string& text )
{
    ShortcutKey out;
    auto rest = toLower( text );
    for ( auto plus = rest.find( '+' ); plus != std::string::npos; plus = rest.find( '+' ) )
    {
        const int modifier = modifierNamed( rest.substr( 0, plus ) );
        if ( modifier == 0 || ( out.mod & modifier ) )
            return {};
        out.mod |= modifier;
        rest.erase( 0, plus + 1 );
    }
    const auto key = keyNamed( rest );
    if ( !key )
        return {};
    out.key = *key;
    return out;
}

} // namespace VX
