#include <VXViewer/ribbon/RibbonMenu.h>

#include <GLFW/glfw3.h>
#include <spdlog/spdlog.h>

namespace VX
{
namespace
{

using Category = ShortcutManager::Category;

struct DefaultShortcut
{
    const char* item;
    ShortcutKey key;
    Category category;
    /// A second key of the tool; the sheet tells both, its button the first.
    bool another = false;
};

// Keys that users of other viewers expect; the digits are those of the number block's views.
constexpr DefaultShortcut cShortcuts[] = {
    { "New scene", { GLFW_KEY_N, GLFW_MOD_CONTROL }, Category::Scene },
    { "Open files", { GLFW_KEY_O, GLFW_MOD_CONTROL }, Category::Scene },
    { "Save scene", { GLFW_KEY_S, GLFW_MOD_CONTROL }, Category::Scene },
    { "Save scene as", { GLFW_KEY_S, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT }, Category::Scene },
    { "Save picture", { GLFW_KEY_P, GLFW_MOD_CONTROL }, Category::Scene },
    { "Quit", { GLFW_KEY_Q, GLFW_MOD_CONTROL }, Category::Scene },
    { "Select all", { GLFW_KEY_A, GLFW_MOD_CONTROL }, Category::Selection },
    { "Rename", { GLFW_KEY_F2, 0 }, Category::Objects },
    { "Hide selected", { GLFW_KEY_H, 0 }, Category::Objects },
    { "Show all", { GLFW_KEY_H, GLFW_MOD_SHIFT }, Category::Objects },
    { "Measure distance", { GLFW_KEY_M, 0 }, Category::Objects },
    { "Create Simple Objects", { GLFW_KEY_N, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT }, Category::Objects },
    { "Redo", { GLFW_KEY_Y, GLFW_MOD_CONTROL }, Category::Edit, true },
    { "Fit all", { GLFW_KEY_F, 0 }, Category::View },
    { "Fit selected", { GLFW_KEY_F, GLFW_MOD_SHIFT }, Category::View },
    { "Isometric view", { GLFW_KEY_0, 0 }, Category::View },
    { "Front view", { GLFW_KEY_1, 0 }, Category::View },
    { "Right view", { GLFW_KEY_3, 0 }, Category::View },
    { "Top view", { GLFW_KEY_7, 0 }, Category::View },
    { "Orthographic", { GLFW_KEY_5, 0 }, Category::View },
    { "Edges", { GLFW_KEY_E, 0 }, Category::View },
    { "Wireframe", { GLFW_KEY_W, 0 }, Category::View },
    { "Viewer settings", { GLFW_KEY_COMMA, GLFW_MOD_CONTROL }, Category::Info },
};

} // namespace

void RibbonMenu::setupShortcuts_()
{
    if ( !shortcuts_ )
        ImGuiMenu::setupShortcuts_();
    for ( const auto& [item, key, category, another] : cShortcuts )
        addRibbonItemShortcut_( item, key, category, another );
    const auto set = shortcuts_->setShortcut(
        { GLFW_KEY_F, GLFW_MOD_CONTROL }, { Category::Info, "Search", [this] { search_.activate(); } } );
    if ( !set )
        spdlog::error( "{}", set.error() );
}

void RibbonMenu::addRibbonItemShortcut_( const std::string& itemName, ShortcutKey key, Category category, bool another )
{
    const auto item = RibbonSchemaHolder::findItem( itemName );
    if ( !item || !shortcuts_ )
        return;
    const auto set = shortcuts_->setShortcut( key, { .category = category,
                                                       .name = itemName,
                                                       .action = [this, item] { emitItemPressed( item ); },
                                                       .another = another } );
    if ( !set )
        spdlog::error( "{}", set.error() );
}

} // namespace VX
