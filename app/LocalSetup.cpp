#include "LocalSetup.h"

#include "ConfigCheck.h"

#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/ribbon/RibbonMenu.h>

#include <GLFW/glfw3.h>

#include <algorithm>
#include <array>

namespace VX::App
{
namespace
{

using Category = ShortcutManager::Category;

// "Privacy" tells what is sent, which is nothing here.
constexpr std::array<const char*, 3> cServiceTools{ "Sign out", "Privacy", "Quickstart video" };

bool isServiceTool( const Json::Value& name )
{
    return name.isString() && std::any_of( cServiceTools.begin(), cServiceTools.end(),
                                  [&]( const char* tool ) { return name.asString() == tool; } );
}

/// The framework's menu, with the keys for editing that people know from the product's.
class LocalMenu final : public RibbonMenu
{
protected:
    void setupShortcuts_() override
    {
        RibbonMenu::setupShortcuts_();
        for ( const auto& [tool, key, category] :
            { std::tuple{ "Undo", ShortcutKey{ GLFW_KEY_Z, GLFW_MOD_CONTROL }, Category::Edit },
                std::tuple{ "Redo", ShortcutKey{ GLFW_KEY_Z, GLFW_MOD_CONTROL | GLFW_MOD_SHIFT }, Category::Edit },
                std::tuple{ "Delete Selection", ShortcutKey{ GLFW_KEY_DELETE, 0 }, Category::Edit },
                std::tuple{ "Select Primitives", ShortcutKey{ GLFW_KEY_W, GLFW_MOD_CONTROL }, Category::Selection },
                std::tuple{ "Clear Selections", ShortcutKey{ GLFW_KEY_X, GLFW_MOD_CONTROL }, Category::Selection } } )
            addRibbonItemShortcut_( tool, key, category );
    }
};

void applyFonts( const OrvantaConfig& config, RibbonFontManager& manager )
{
    auto paths = manager.getAllFontPaths();
    for ( size_t i = 0; i < paths.size(); ++i )
        if ( !config.fonts[i].empty() )
            paths[i] = config.fonts[i];
    if ( paths != manager.getAllFontPaths() )
        manager.setNewFontPaths( paths );
}

} // namespace

Json::Value withoutServiceTools( Json::Value config )
{
    if ( config.isObject() )
    {
        for ( const auto& member : config.getMemberNames() )
            config[member] = withoutServiceTools( config[member] );
        return config;
    }
    if ( !config.isArray() )
        return config;
    Json::Value out( Json::arrayValue );
    for ( const auto& value : config )
        if ( !isServiceTool( value ) && !( value.isObject() && isServiceTool( value["Name"] ) ) )
            out.append( withoutServiceTools( value ) );
    return out;
}

LocalSetup::LocalSetup( const Json::Value& config, std::vector<std::string> problems )
    : config_( withoutServiceTools( config ) )
    , problems_( std::move( problems ) )
{
}

void LocalSetup::setupBasePlugins( Viewer* viewer ) const
{
    viewer->setMenuPlugin( std::make_shared<LocalMenu>() );
}

void LocalSetup::setupExtendedLibraries() const
{
    for ( const char* name : cServiceTools )
        if ( auto item = RibbonSchemaHolder::findItem( name ) )
        {
            RibbonSchemaHolder::removeItem( name );
            away_.push_back( std::move( item ) );
        }
    const auto config = createOrvantaConfigFromJson( config_ );
    if ( auto* menu = currentRibbonMenu() )
        applyFonts( config, menu->fontManager() );
    applyRibbonConfig( config );
    tellProblems( problems_ );
}

void LocalSetup::unloadExtendedLibraries() const
{
    for ( auto& item : away_ )
        RibbonSchemaHolder::addItem( std::move( item ) );
    away_.clear();
}

} // namespace VX::App
