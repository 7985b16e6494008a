#include <VXOrvanta/shell/SitePages.h>

namespace VX
{

std::string downloadPage()
{
    return std::string( ORVANTA_SITE_URL ) + "/download";
}

} // namespace VX
