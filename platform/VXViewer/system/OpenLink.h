#pragma once

#include <VXViewer/Export.h>

#include <functional>
#include <string>

namespace VX
{

/// Opens an http(s) page in the user's browser; other schemes are refused. Returns at once: false, and logged, when the
/// page could not be handed over to anything. `failed` is called later, on another thread, when what took it gave up.
VXVIEWER_API bool OpenLink( const std::string& url, std::function<void()> failed = {} );

} // namespace VX
