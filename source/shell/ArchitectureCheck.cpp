#include <VXOrvanta/shell/ArchitectureCheck.h>

#include <VXOrvanta/welcome/SitePages.h>
#include <VXViewer/menu/LinkOpener.h>

namespace VX
{

std::optional<RibbonNotification> architectureNotice( const std::string& platform, const std::string& cpu )
{
    if ( platform != "apple_x86_64" || !cpu.starts_with( "apple" ) )
        return {};
    return RibbonNotification{ .header = "Architecture Inconsistence",
        .text =
            "This version of Orvanta is for Intel x86 architecture CPUs. Please download the version of Orvanta for "
            "Apple Silicon for the best performance.",
        .buttonName = "Download",
        .onButtonClick = [] { openLinkOrTell( downloadPage() ); },
        .type = NotificationType::Warning,
        .lifeTimeSec = 10,
        .tags = AllNotificationTags };
}

} // namespace VX
