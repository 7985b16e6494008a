#include "AppSetup.h"

#include "ConfigCheck.h"
#include "RibbonJson.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <utility>

namespace VX::App
{

void AppSetup::setupExtendedLibraries() const
{
    applyOrvantaConfig( createOrvantaConfigFromJson( config_ ) );
    const auto menu = OrvantaRibbonMenu::instance();
    if ( problems_.empty() || !menu )
        return;
    menu->pushNotification( { .header = "Configuration",
        .text = fmt::format( "{}", fmt::join( problems_, "\n" ) ),
        .type = NotificationType::Warning,
        .lifeTimeSec = 0 } );
}

Json::Value builtInConfig()
{
    const auto config = deserializeJsonValue( std::string( cRibbonJson ) );
    if ( !config )
        spdlog::critical( "The built-in configuration cannot be read: {}", config.error() );
    return config.value_or( Json::Value( Json::objectValue ) );
}

Json::Value mergedConfig( const Json::Value& user )
{
    auto out = builtInConfig();
    const auto usable = usableConfig( user );
    for ( const auto& part : usable.getMemberNames() )
    {
        const auto brought = std::exchange( out[part], usable[part] );
        for ( const auto& name : user[part].getMemberNames() )
            if ( !usable[part].isMember( name ) && brought.isMember( name ) )
                out[part][name] = brought[name];
    }
    return out;
}

} // namespace VX::App
