#pragma once

#include <VXViewer/Export.h>

#include <json/value.h>

namespace VX
{

/// Facts about the machine and, while the viewer runs, about its graphics and its biggest screen:
///
///     { "OS Version": "Debian GNU/Linux 12 (bookworm)",
///       "CPU Info": { "CPU": "…", "Concurrent threads": 8 },
///       "Memory Info": { "Physical memory total MB": "31982" },
///       "Graphics Info": { "OpenGL Renderer": "…", "OpenGL Version": "4.6 …" },
///       "Window Info": { "BiggestMonitor": { "Width": 3840, "Height": 2160, "ScalingPercent": 200 } } }
///
/// What is not known is left out. No names of people, files or hosts. UI thread.
[[nodiscard]] VXVIEWER_API Json::Value GetSystemInfoJson();

} // namespace VX
