#include <VXOrvanta/account/ClientMetadata.h>

#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/account/Cognito.h>

namespace VX
{
namespace
{

/// A member that is an object, else an empty object.
const Json::Value& group( const Json::Value& parent, const char* key )
{
    static const Json::Value sEmpty( Json::objectValue );
    if ( !parent.isObject() || !parent[key].isObject() )
        return sEmpty;
    return parent[key];
}

void addText( Json::Value& out, const char* key, const Json::Value& value )
{
    if ( value.isString() )
        out[key] = value;
}

void addNumber( Json::Value& out, const char* key, const Json::Value& value )
{
    if ( value.isInt64() )
        out[key] = std::to_string( value.asInt64() );
}

void addProcessor( Json::Value& out, const Json::Value& cpu )
{
    if ( !cpu["CPU"].isString() )
        return;
    auto text = cpu["CPU"].asString();
    if ( const auto& threads = cpu["Concurrent threads"]; threads.isUInt() )
        text += " / " + std::to_string( threads.asUInt() );
    out["cpu"] = text;
}

} // namespace

Json::Value clientMetadata( const Json::Value& systemInfo )
{
    Json::Value out( Json::objectValue );
    out["platform"] = getOSNoSpaces();
    out["version"] = Cognito::versionNoSpaces();
    if ( systemInfo.isObject() )
        addText( out, "os", systemInfo["OS Version"] );
    addProcessor( out, group( systemInfo, "CPU Info" ) );
    const auto& graphics = group( systemInfo, "Graphics Info" );
    addText( out, "gpu", graphics["OpenGL Renderer"] );
    addText( out, "gl_version", graphics["OpenGL Version"] );
    addText( out, "ram", group( systemInfo, "Memory Info" )["Physical memory total MB"] );
    const auto& monitor = group( group( systemInfo, "Window Info" ), "BiggestMonitor" );
    addNumber( out, "width", monitor["Width"] );
    addNumber( out, "height", monitor["Height"] );
    addNumber( out, "scaling_percent", monitor["ScalingPercent"] );
    return out;
}

} // namespace VX
