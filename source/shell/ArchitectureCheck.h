#pragma once

#include <VXOrvanta/Export.h>
#include <VXViewer/dialogs/Notification.h>

#include <optional>
#include <string>

namespace VX
{

/// What to tell a user who runs the Intel build on Apple Silicon, where it is translated and slow; nothing on any other
/// machine. `platform` and `cpu` are in lower case, as `getOSNoSpaces` and `GetCpuId` tell them.
[[nodiscard]] VXORVANTA_API std::optional<RibbonNotification> architectureNotice(
    const std::string& platform, const std::string& cpu );

} // namespace VX
