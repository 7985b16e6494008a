#include <VXOrvanta/welcome/SitePages.h>
#include <VXViewer/menu/LinkOpener.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX
{
namespace
{

const FunctionItemRegistrar sVideo(
    FunctionItemParams{ "Quickstart video", [] { openLinkOrTell( onboardingVideoPage() ); }, {}, {} } );

} // namespace
} // namespace VX
