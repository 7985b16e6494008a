#pragma once

#include <VXViewer/web/WebTransport.h>

namespace VX
{

/// HTTPS over libcurl's multi interface, driven by one thread that starts with the first request: connections are kept
/// and shared, bodies stream from and to files with constant memory.
///
/// HTTPS only, peer and host verified, TLS 1.2 or newer, at most 5 redirects, never to plain HTTP and only of requests
/// that tell nothing but their address or send a file. The environment variable SSL_CERT_FILE replaces the system's
/// certificates; the usual proxy variables are honoured.
[[nodiscard]] std::shared_ptr<WebTransport> makeCurlTransport();

} // namespace VX
