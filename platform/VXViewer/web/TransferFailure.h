#pragma once

#include <VXViewer/Export.h>

#include <curl/curl.h>

#include <string>

namespace VX
{

/// Which address has not answered, and why, in one short sentence: "host:port did not answer: its certificate is not
/// trusted". Nothing of the URL but host and port. Empty where libcurl's own text says as much.
[[nodiscard]] VXVIEWER_API std::string transferFailure( CURL* handle, CURLcode result );

} // namespace VX
