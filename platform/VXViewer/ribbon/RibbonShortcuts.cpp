#include <VXViewer/ribbon/RibbonMenu.h>

#include <GLFW/glfw3.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX
{
namespace
{

/// The tools' names in an order of their own, so that of two with the same key always the same one gets it.
std::vector<std::string> toolNames()
{
    std::vector<std::string> out;
    for ( const auto& [name, info] : RibbonSchemaHolder::schema().items )
        out.push_back( name );
    std::sort( out.begin(), out.end() );
    return out;
}

} // namespace

void RibbonMenu::setupShortcuts_()
{
    if ( !shortcuts_ )
        ImGuiMenu::setupShortcuts_();
    for ( const auto& name : toolNames() )
        for ( const auto& [key, category, another] : RibbonSchemaHolder::schema().items.at( name ).shortcuts )
            addRibbonItemShortcut_( name, key, category, another );
    const auto set = shortcuts_->setShortcut( { GLFW_KEY_F, GLFW_MOD_CONTROL },
        { ShortcutManager::Category::Info, "Search", [this] { search_.activate(); } } );
    if ( !set )
        spdlog::error( "{}", set.error() );
}

void RibbonMenu::rebindShortcuts_()
{
    if ( !shortcuts_ )
        return;
    shortcuts_->clear();
    setupShortcuts_();
}

void RibbonMenu::addRibbonItemShortcut_(
    const std::string& itemName, ShortcutKey key, ShortcutManager::Category category, bool another )
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
