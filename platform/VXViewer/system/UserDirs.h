#pragma once

#include <VXViewer/Export.h>

#include <filesystem>
#include <string>

namespace VX
{

/// Names the folder of this program's settings; call it before anything reads them. "VX" unless set.
VXVIEWER_API void setUserConfigName( std::string name );

/// The per-user folder of settings by the XDG base directories, `$XDG_CONFIG_HOME/NAME` or `~/.config/NAME`. It is
/// created, readable by its owner alone, when it is missing. Any thread.
[[nodiscard]] VXVIEWER_API std::filesystem::path getUserConfigDir();

/// The per-user folder of what a program keeps between runs without being a setting, `$XDG_STATE_HOME/NAME` or
/// `~/.local/state/NAME`; created in the same way. Any thread.
[[nodiscard]] VXVIEWER_API std::filesystem::path getUserStateDir();

/// The user's home folder, or the root when the environment does not tell.
[[nodiscard]] VXVIEWER_API std::filesystem::path getUserHomeDir();

} // namespace VX
