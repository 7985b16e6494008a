#include <VXOrvanta/shell/SitePages.h>
#include <VXViewer/system/OpenLink.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX
{
namespace
{

const FunctionItemRegistrar sVideo(
    FunctionItemParams{ "Quickstart video", [] { OpenLink( onboardingVideoPage() ); }, {}, {} } );

} // namespace
} // namespace VX
