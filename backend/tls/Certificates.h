#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX::Backend
{

struct ServerCertificate
{
    std::filesystem::path authority; ///< what clients have to trust
    std::filesystem::path chain;
    std::filesystem::path key;
};

/// The certificate of localhost, 127.0.0.1 and ::1 in `folder`, signed by an authority of its own; both are made when
/// they are missing or end within a month. Keys are readable by their owner alone, and the authority's is not kept.
[[nodiscard]] tl::expected<ServerCertificate, std::string> ensureCertificate( const std::filesystem::path& folder );

} // namespace VX::Backend
