#include <VXViewer/core/ViewerTitle.h>

#include <VXViewer/core/Viewer.h>

#include <utility>

namespace VX
{

void ViewerTitle::setAppName( std::string name )
{
    appName_ = std::move( name );
    update_();
}

void ViewerTitle::setVersion( std::string version )
{
    version_ = std::move( version );
    update_();
}

void ViewerTitle::setSceneName( std::string name )
{
    sceneName_ = std::move( name );
    update_();
}

void ViewerTitle::setUnsaved( bool unsaved )
{
    if ( std::exchange( unsaved_, unsaved ) != unsaved )
        update_();
}

std::string ViewerTitle::compose() const
{
    std::string out = sceneName_;
    if ( !out.empty() && !appName_.empty() )
        out += " - ";
    out += appName_;
    if ( !version_.empty() )
        out += ( out.empty() ? "" : " " ) + version_;
    return unsaved_ && !out.empty() ? "*" + out : out;
}

void ViewerTitle::takeTexts_( const ViewerTitle& other )
{
    appName_ = other.appName_;
    version_ = other.version_;
    sceneName_ = other.sceneName_;
    unsaved_ = other.unsaved_;
}

void ViewerTitle::update_()
{
    getViewerInstance().setWindowTitle( compose() );
}

} // namespace VX
