#include "AppSetup.h"

#include "ConfigCheck.h"
#include "RibbonJson.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/shell/OrvantaConfig.h>

#include <spdlog/spdlog.h>

#include <utility>

namespace VX::App
{

void AppSetup::setupExtendedLibraries() const
{
    applyOrvantaConfig( createOrvantaConfigFromJson( config_ ) );
    tellProblems( problems_ );
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
