#include <VXViewer/menu/MenuBar.h>

#include <VXViewer/core/Window.h>

#include <GLFW/glfw3.h>
#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

bool isEnabled( const MenuItem& item )
{
    return !item.enabled || item.enabled();
}

std::string keyName( int key )
{
    if ( key >= GLFW_KEY_SPACE + 1 && key <= GLFW_KEY_Z )
        return { char( key ) };
    if ( key >= GLFW_KEY_F1 && key <= GLFW_KEY_F12 )
        return "F" + std::to_string( key - GLFW_KEY_F1 + 1 );
    if ( key == GLFW_KEY_DELETE )
        return "Del";
    return key == GLFW_KEY_HOME ? "Home" : "";
}

} // namespace

std::string shortcutText( int key, int modifiers )
{
    if ( key == 0 )
        return {};
    std::string out;
    if ( modifiers & ControlModifier )
        out += "Ctrl+";
    if ( modifiers & AltModifier )
        out += "Alt+";
    if ( modifiers & ShiftModifier )
        out += "Shift+";
    return out + keyName( key );
}

void MenuBar::add( const std::string& menu, MenuItem item )
{
    auto it = std::find_if( menus_.begin(), menus_.end(), [&]( const Menu& m ) { return m.name == menu; } );
    if ( it == menus_.end() )
        it = menus_.insert( menus_.end(), { menu, {} } );
    it->items.push_back( std::move( item ) );
}

void MenuBar::draw()
{
    if ( !ImGui::BeginMainMenuBar() )
        return;
    for ( const auto& menu : menus_ )
    {
        if ( !ImGui::BeginMenu( menu.name.c_str() ) )
            continue;
        for ( const auto& item : menu.items )
        {
            if ( item.separatorBefore )
                ImGui::Separator();
            const auto shortcut = shortcutText( item.key, item.modifiers );
            const bool checked = item.checked && item.checked();
            if ( ImGui::MenuItem( item.caption.c_str(), shortcut.c_str(), checked, isEnabled( item ) ) )
                item.action();
        }
        ImGui::EndMenu();
    }
    ImGui::EndMainMenuBar();
}

bool MenuBar::onKeyDown( int key, int modifiers )
{
    modifiers &= ShiftModifier | ControlModifier | AltModifier;
    for ( const auto& menu : menus_ )
        for ( const auto& item : menu.items )
            if ( item.key != 0 && item.key == key && item.modifiers == modifiers && isEnabled( item ) )
            {
                item.action();
                return true;
            }
    return false;
}

} // namespace VX
