#pragma once

#include <VXViewer/Export.h>

#include <string>

namespace VX
{

/// Opens an http(s) page in the user's browser; other schemes are refused. Returns at once; a failure is logged.
VXVIEWER_API void OpenLink( const std::string& url );

} // namespace VX
