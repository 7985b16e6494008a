#include <VXOrvanta/shell/OrvantaConfig.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>

#include <spdlog/spdlog.h>

namespace VX
{
namespace
{

using FontFile = RibbonFontManager::FontFile;

OrvantaMenuUIConfig readMenuLayout( const Json::Value& layout )
{
    OrvantaMenuUIConfig out;
    for ( const auto& [key, value] : { std::pair{ "drawWelcomeWindow", &out.drawWelcomeWindow },
              std::pair{ "allowBaseShortcuts", &out.allowBaseShortcuts },
              std::pair{ "allowHistoryShortcuts", &out.allowHistoryShortcuts } } )
        if ( layout[key].isBool() )
            *value = layout[key].asBool();
    return out;
}

void readFont( OrvantaConfig& config, FontFile slot, const std::string& text )
{
    const auto path = pathFromUtf8( text );
    const auto extension = toLower( utf8string( path.extension() ) );
    std::error_code ec;
    if ( ( extension == ".ttf" || extension == ".otf" ) && std::filesystem::is_regular_file( path, ec ) )
        config.fonts[size_t( slot )] = path;
}

void applyFonts( const OrvantaConfig& config, RibbonFontManager& manager )
{
    auto paths = manager.getAllFontPaths();
    bool replaced = false;
    for ( size_t i = 0; i < paths.size(); ++i )
        if ( !config.fonts[i].empty() )
        {
            paths[i] = config.fonts[i];
            replaced = true;
        }
    if ( replaced )
        manager.setNewFontPaths( paths );
}

} // namespace

OrvantaConfig createOrvantaConfigFromJson( const Json::Value& root )
{
    OrvantaConfig out;
    static_cast<RibbonConfig&>( out ) = createRibbonConfigFromJson( root );
    if ( !root.isObject() )
        return out;
    if ( root["MenuLayout"].isObject() )
        out.menuUIConfig = readMenuLayout( root["MenuLayout"] );
    const auto& fonts = root["Fonts"];
    if ( !fonts.isObject() )
        return out;
    for ( const auto& [key, slot] : { std::pair{ "Regular", FontFile::Regular },
              std::pair{ "SemiBold", FontFile::SemiBold }, std::pair{ "Monospace", FontFile::Monospace } } )
        if ( fonts[key].isString() )
            readFont( out, slot, fonts[key].asString() );
    return out;
}

void applyOrvantaConfig( const OrvantaConfig& config )
{
    const auto menu = OrvantaRibbonMenu::instance();
    if ( !menu )
    {
        spdlog::warn( "Cannot apply layout config" );
        return;
    }
    if ( config.menuUIConfig )
        menu->setOrvantaMenuConfig( *config.menuUIConfig );
    applyFonts( config, menu->fontManager() );
    applyRibbonConfig( config );
}

} // namespace VX
