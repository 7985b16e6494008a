#include "AppMenu.h"
#include "Arguments.h"
#include "FileOpener.h"
#include "ProcessTime.h"
#include "Screenshots.h"

#include <VXMesh/system/SystemInfo.h>
#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/system/UserDirs.h>

#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <cstdlib>

namespace
{

using namespace VX;

LaunchParams launchParams( const App::Arguments& arguments )
{
    LaunchParams params;
    params.appName = "Orvanta";
    params.version = GetVXVersionString();
    params.width = arguments.width;
    params.height = arguments.height;
    params.windowless = arguments.screenshot.has_value();
    params.arguments = arguments.all;
    return params;
}

int runWindow( const App::Arguments& arguments )
{
    auto& viewer = getViewerInstance();
    App::FileOpener opener;
    const auto menu = std::make_shared<ImGuiMenu>();
    App::addAppMenu( *menu, opener );
    viewer.setMenuPlugin( menu );
    viewer.filesDroppedSignal.connect(
        [&]( const std::vector<std::filesystem::path>& files ) { opener.open( files ); } );
    if ( const auto started = viewer.start( launchParams( arguments ) ); !started )
    {
        spdlog::error( "{}", started.error() );
        return 1;
    }
    spdlog::debug( "First frame {:.0f} ms after the start of the process", App::secondsSinceProcessStart() * 1000 );
    // After the first frame: a window that stands at once is worth more than a file a little sooner.
    if ( !arguments.files.empty() )
        CommandLoop::appendCommand( [&] { opener.open( arguments.files ); } );
    viewer.run();
    if ( !viewer.stop() )
        std::_Exit( 0 );
    return 0;
}

} // namespace

int main( int argc, char** argv )
{
    spdlog::set_default_logger( spdlog::stderr_color_mt( "Orvanta" ) );
    const auto arguments = App::parseArguments( argc, argv );
    if ( !arguments )
    {
        std::fputs( arguments.error().text.c_str(), arguments.error().status == 0 ? stdout : stderr );
        return arguments.error().status;
    }
    if ( arguments->verbose )
        spdlog::set_level( spdlog::level::debug );
    setUserConfigName( "Orvanta" );
    App::registerStepFormat();
    return arguments->screenshot ? App::takeScreenshot( *arguments, launchParams( *arguments ) )
                                 : runWindow( *arguments );
}
