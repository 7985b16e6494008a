#include <VXViewer/menu/SavedNotice.h>

#include <VXMesh/io/Path.h>
#include <VXViewer/menu/ImGuiMenu.h>

namespace VX
{

void tellSaved( const tl::expected<void, std::string>& saved, const std::filesystem::path& file )
{
    auto* menu = currentMenu();
    if ( !menu )
        return;
    if ( saved )
        menu->pushNotification( { .header = "Saved", .text = utf8string( file ), .type = NotificationType::Time } );
    else
        menu->showModalMessage( saved.error(), NotificationType::Error );
}

} // namespace VX
