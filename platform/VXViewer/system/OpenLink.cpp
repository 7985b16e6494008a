#include <VXViewer/system/OpenLink.h>

#include <VXViewer/system/Programs.h>

#include <spdlog/spdlog.h>

namespace VX
{

bool OpenLink( const std::string& url, std::function<void()> failed )
{
    if ( !url.starts_with( "https://" ) && !url.starts_with( "http://" ) )
    {
        spdlog::error( "Not a web page: {}", url );
        return false;
    }
    if ( startDetached( { "xdg-open", url }, std::move( failed ) ) )
        return true;
    spdlog::error( "No browser could be started for {}", url );
    return false;
}

} // namespace VX
