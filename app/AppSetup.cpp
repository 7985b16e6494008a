#include "AppSetup.h"

#include "RibbonJson.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/shell/OrvantaConfig.h>

#include <spdlog/spdlog.h>

namespace VX::App
{

void AppSetup::setupExtendedLibraries() const
{
    applyOrvantaConfig( createOrvantaConfigFromJson( config_ ) );
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
    if ( user.isObject() )
        for ( const auto& member : user.getMemberNames() )
            out[member] = user[member];
    return out;
}

} // namespace VX::App
