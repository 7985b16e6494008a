#pragma once

#include <VXViewer/menu/ImGuiMenu.h>

namespace VX
{

/// The bar at the upper edge and the shortcuts of its entries.
class MenuBar
{
public:
    void add( const std::string& menu, MenuItem item );
    void draw();
    bool onKeyDown( int key, int modifiers );

private:
    struct Menu
    {
        std::string name;
        std::vector<MenuItem> items;
    };
    std::vector<Menu> menus_;
};

/// "Ctrl+Shift+S"; empty for key 0.
[[nodiscard]] std::string shortcutText( int key, int modifiers );

} // namespace VX
