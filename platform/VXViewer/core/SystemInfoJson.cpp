#include <VXViewer/core/SystemInfoJson.h>

#include <VXMesh/system/SystemInfo.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/window/Window.h>

#include <epoxy/gl.h>

namespace VX
{
namespace
{

void addText( Json::Value& group, const char* key, GLenum name )
{
    if ( const auto* text = reinterpret_cast<const char*>( glGetString( name ) ) )
        group[key] = text;
}

} // namespace

Json::Value GetSystemInfoJson()
{
    auto out = GetMachineInfoJson();
    const auto* window = viewWindow();
    if ( !window )
        return out;
    addText( out["Graphics Info"], "OpenGL Renderer", GL_RENDERER );
    addText( out["Graphics Info"], "OpenGL Version", GL_VERSION );
    if ( const auto monitor = window->biggestMonitor() )
    {
        auto& biggest = out["Window Info"]["BiggestMonitor"];
        biggest["Width"] = monitor->width;
        biggest["Height"] = monitor->height;
        biggest["ScalingPercent"] = monitor->scalingPercent;
    }
    return out;
}

} // namespace VX
