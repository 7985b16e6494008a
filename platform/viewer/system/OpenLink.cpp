#include <VXViewer/system/OpenLink.h>

#include <VXViewer/system/Programs.h>

#include <spdlog/spdlog.h>

namespace VX
{

void OpenLink( const std::string& url )
{
    if ( !url.starts_with( "https://" ) && !url.starts_with( "http://" ) )
    {
        spdlog::error( "Not a web page: {}", url );
        return;
    }
    if ( !startDetached( { "xdg-open", url } ) )
        spdlog::error( "No browser could be started for {}", url );
}

} // namespace VX
