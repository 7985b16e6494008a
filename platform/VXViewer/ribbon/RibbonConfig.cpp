#include <VXViewer/ribbon/RibbonConfig.h>

#include <VXMesh/io/Json.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/ColorTheme.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <map>

namespace VX
{
namespace
{

using Problems = std::vector<std::string>;

std::optional<Json::Value> objectOf( const Json::Value& root, const char* member )
{
    if ( !root.isObject() || !root.isMember( member ) )
        return {};
    if ( root[member].isObject() )
        return root[member];
    spdlog::warn( "The configuration's \"{}\" is not an object and is left out", member );
    return {};
}

void readSwitch( const Json::Value& settings, const char* name, bool& value, Problems& problems )
{
    if ( settings[name].isBool() )
        value = settings[name].asBool();
    else if ( settings.isMember( name ) )
        problems.push_back( fmt::format( "\"{}\" is neither true nor false", name ) );
}

RibbonMenuUIConfig readUIConfig( const Json::Value& settings, RibbonMenuUIConfig out, Problems& problems )
{
    static const std::map<std::string, TopPanelLayoutMode> sModes{ { "None", TopPanelLayoutMode::None },
        { "NoTabs", TopPanelLayoutMode::RibbonNoTabs }, { "WithTabs", TopPanelLayoutMode::RibbonWithTabs } };
    if ( settings.isMember( "TopPanel" ) )
    {
        const auto mode = sModes.find( textMember( settings, "TopPanel" ) );
        if ( mode == sModes.end() )
            problems.push_back( R"("TopPanel" is none of "None", "NoTabs" and "WithTabs")" );
        else
            out.topLayout = mode->second;
    }
    readSwitch( settings, "CenterRibbonItems", out.centerRibbonItems, problems );
    readSwitch( settings, "ScenePanel", out.drawScenePanel, problems );
    readSwitch( settings, "Toolbar", out.drawToolbar, problems );
    readSwitch( settings, "ViewportLabels", out.drawViewportTags, problems );
    readSwitch( settings, "Notifications", out.drawNotifications, problems );
    return out;
}

void applyUISettings( const Json::Value& settings, RibbonMenu* menu, Problems& problems )
{
    if ( settings.isMember( "Theme" ) && !Config::instance().hasKey( cColorThemeConfigKey ) )
        if ( const auto set = ColorTheme::setup( settings["Theme"] ); !set )
            problems.push_back( set.error() );
    if ( menu )
        menu->setMenuUIConfig( readUIConfig( settings, menu->getMenuUIConfig(), problems ) );
}

void report( const Problems& problems, RibbonMenu* menu )
{
    for ( const auto& problem : problems )
        spdlog::warn( "Configuration: {}", problem );
    if ( !menu || problems.empty() )
        return;
    const auto more = problems.size() == 1 ? std::string()
                                           : fmt::format( "\nThe log has {} more of this kind.", problems.size() - 1 );
    menu->pushNotification( { .header = "Configuration",
        .text = problems.front() + more,
        .type = NotificationType::Warning,
        .lifeTimeSec = 15 } );
}

} // namespace

RibbonConfig createRibbonConfigFromJson( const Json::Value& root )
{
    return { objectOf( root, "Schema" ), objectOf( root, "Structure" ), objectOf( root, "UISettings" ) };
}

void applyRibbonConfig( const RibbonConfig& config )
{
    auto* menu = currentRibbonMenu();
    Problems problems;
    const auto take = [&]( Problems more ) { problems.insert( problems.end(), more.begin(), more.end() ); };
    if ( config.schema )
        take( RibbonSchemaHolder::loadSchema( *config.schema ) );
    if ( config.structure )
        take( RibbonSchemaHolder::loadStructure( *config.structure ) );
    if ( config.uiSettings )
        applyUISettings( *config.uiSettings, menu, problems );
    if ( menu && ( config.schema || config.structure ) )
        menu->schemaChanged();
    report( problems, menu );
}

} // namespace VX
