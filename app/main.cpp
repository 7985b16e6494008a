#include "AboutTool.h"
#include "AppSetup.h"
#include "Arguments.h"
#include "ConfigCheck.h"
#include "LocalSetup.h"
#include "NoNetwork.h"
#include "ProcessTime.h"
#include "Screenshots.h"
#include "open/FileOpener.h"
#include "step/ImportLeftovers.h"
#include "step/LocalConverter.h"
#include "step/StepFormat.h"
#include "step/StepTools.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/system/PrivateMemory.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXMesh/system/TerminalLog.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/work/Job.h>

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
    params.rememberWindow = !arguments.isSizeGiven;
    params.windowless = params.picturesOnly = arguments.screenshot.has_value();
    params.arguments = arguments.all;
    return params;
}

/// Reads the document of `--config`; false, and said why, when it cannot be used.
bool readConfig( const App::Arguments& arguments, Json::Value& config )
{
    if ( !arguments.config )
        return true;
    auto read = deserializeJsonValue( *arguments.config );
    if ( read && read->isObject() )
    {
        config = std::move( *read );
        for ( const auto& problem : App::configProblems( config ) )
            spdlog::warn( "Configuration: {}", problem );
        return true;
    }
    spdlog::error( "The configuration \"{}\" cannot be used: {}", utf8string( *arguments.config ),
        read ? "it is not a JSON object" : read.error() );
    return false;
}

/// Opens the files of the command line. The welcome window, which is for an empty scene, waits until none of them is on
/// its way any more.
boost::signals2::scoped_connection openFirstFiles(
    App::FileOpener& opener, const std::vector<std::filesystem::path>& files )
{
    const auto menu = OrvantaRibbonMenu::instance();
    if ( files.empty() || !menu )
    {
        opener.open( files );
        return {};
    }
    const auto config = menu->getOrvantaMenuConfig();
    auto without = config;
    without.drawWelcomeWindow = false;
    menu->setOrvantaMenuConfig( without );
    opener.open( files );
    return getViewerInstance().perFrameSignal.connect_extended(
        [menu = std::weak_ptr( menu ), config, &opener]( const boost::signals2::connection& self )
        {
            if ( opener.pending() > 0 || opener.waitingForSignIn() > 0 )
                return;
            self.disconnect();
            if ( const auto alive = menu.lock() )
                alive->setOrvantaMenuConfig( config );
            redraw( 1 );
        } );
}

/// Removes what imports of a former run have left.
void startTidying()
{
    const auto tidy = []( const Job& ) -> tl::expected<void, std::string>
    {
        App::ImportLeftovers::tidy();
        return {};
    };
    (void)Job::start( "Tidying up", tidy );
}

int runWindow( const App::Arguments& arguments, ViewerSetup& setup )
{
    auto& viewer = getViewerInstance();
    App::FileOpener opener;
    viewer.filesDroppedSignal.connect(
        [&]( const std::vector<std::filesystem::path>& files ) { opener.open( files ); } );
    if ( const auto started = viewer.start( launchParams( arguments ), setup ); !started )
    {
        spdlog::error( "{}", started.error() );
        return 1;
    }
    viewer.getMenuPlugin()->setOpenAction(
        [&]( const std::vector<std::filesystem::path>& files ) { opener.open( files ); } );
    spdlog::debug( "First frame {:.0f} ms after the start of the process", App::secondsSinceProcessStart() * 1000 );
    // After the first frame: a window that stands at once is worth more than a file a little sooner.
    const auto firstFiles = openFirstFiles( opener, arguments.files );
    startTidying();
    viewer.run();
    if ( !viewer.stop() )
        std::_Exit( 0 );
    return 0;
}

} // namespace

int main( int argc, char** argv )
{
    keepMemoryPrivate();
    startTerminalLog( "Orvanta" );
    const auto arguments = App::parseArguments( argc, argv );
    if ( !arguments )
    {
        std::fputs( arguments.error().text.c_str(), arguments.error().status == 0 ? stdout : stderr );
        return arguments.error().status;
    }
    if ( arguments->verbose )
        spdlog::set_level( spdlog::level::debug );
    setUserConfigName( "Orvanta" );
    App::registerAboutTool();
    App::registerConvertTool();
    if ( arguments->local )
    {
        App::forbidNetwork();
        App::registerLocalStepFormat();
    }
    else
    {
        App::registerStepFormat();
        App::registerImportSetting();
    }
    Json::Value config;
    if ( !readConfig( *arguments, config ) )
        return 1;
    if ( arguments->screenshot )
        return App::takeScreenshot( *arguments, launchParams( *arguments ) );
    if ( arguments->local )
    {
        App::LocalSetup setup( App::mergedConfig( config ), App::configProblems( config ) );
        return runWindow( *arguments, setup );
    }
    App::AppSetup setup( App::mergedConfig( config ), App::configProblems( config ) );
    return runWindow( *arguments, setup );
}
