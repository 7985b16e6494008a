#pragma once

#include <VXViewer/Export.h>

#include <string>

namespace VX
{

/// Opens a page for the user, by `OpenLink`. Where no browser takes it, now or a moment later, a notification says so
/// and offers the address. UI thread.
VXVIEWER_API void openLinkOrTell( const std::string& url );

} // namespace VX
