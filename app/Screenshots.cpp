#include "Screenshots.h"

#include "HeadlessSignIn.h"
#include "open/FileOpener.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>

#include <spdlog/spdlog.h>

#include <algorithm>
#include <cstdlib>

namespace VX::App
{
namespace
{

/// By its format; whether it does is known for sure only when it is read.
bool mayNeedSignIn( const std::filesystem::path& file )
{
    const auto* format = FileFormats::find( file );
    return format && format->needsSignIn;
}

/// Opens what can be opened; false, and said why, when that is not all.
bool openAll( Viewer& viewer, const Arguments& arguments )
{
    auto files = arguments.files;
    FileOpener opener;
    bool good = true;
    opener.onError = [&]( const std::string& text )
    {
        spdlog::error( "{}", text );
        good = false;
    };
    if ( std::any_of( files.begin(), files.end(), mayNeedSignIn ) )
        if ( const auto problem = signInHeadless(); !problem.empty() )
        {
            opener.onError( problem );
            std::erase_if( files, mayNeedSignIn );
        }
    opener.open( files );
    while ( opener.pending() > 0 )
        viewer.step( -1 );
    return good;
}

/// Draws the scene into the file; false, and said why, when that cannot be done.
bool savePicture( Viewer& viewer, const std::filesystem::path& file )
{
    const auto saved = savePng( file, viewer.sceneImage() );
    if ( !saved )
        spdlog::error( "{}", saved.error() );
    return saved.has_value();
}

} // namespace

int takeScreenshot( const Arguments& arguments, const LaunchParams& params )
{
    auto& viewer = getViewerInstance();
    if ( const auto started = viewer.start( params ); !started )
    {
        spdlog::error( "{}", started.error() );
        return 1;
    }
    bool good = openAll( viewer, arguments );
    if ( good || !viewer.sceneRoot().children().empty() )
        good = savePicture( viewer, *arguments.screenshot ) && good;
    const int status = good ? 0 : 1;
    if ( !viewer.stop() )
        std::_Exit( status );
    return status;
}

} // namespace VX::App
