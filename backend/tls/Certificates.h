#pragma once

#include "clock/SystemTime.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace VX::Backend
{

struct ServerCertificate
{
    std::filesystem::path authority; ///< what clients have to trust
    std::filesystem::path chain;
    std::filesystem::path key;
    bool isNew = false; ///< chain and key were made just now
};

struct CertificateWish
{
    /// Names and addresses of the server besides localhost, 127.0.0.1 and ::1; what is none is left out.
    std::vector<std::string> hosts;
    std::chrono::sys_seconds now = systemTime();
};

/// The server's certificate in `folder`, signed by an authority of its own there. The authority stays, so that clients
/// that trust it once go on to; the certificate is made again a month before it ends, when it is damaged, and when it
/// is to name others. Keys are readable by their owner alone.
///
/// In a folder of an older version, which kept no key of its authority, a new authority is there beside the former one;
/// the certificate stays until a month before its end.
[[nodiscard]] tl::expected<ServerCertificate, std::string> ensureCertificate(
    const std::filesystem::path& folder, const CertificateWish& wish = {} );

} // namespace VX::Backend
