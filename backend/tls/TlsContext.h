#pragma once

#include <tl/expected.hpp>

#include <boost/asio/ssl/context.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace VX::Backend
{

/// How connections are encrypted, with the certificate of this server. The error says which file cannot be used.
[[nodiscard]] tl::expected<std::shared_ptr<boost::asio::ssl::context>, std::string> makeTlsContext(
    const std::filesystem::path& certificate, const std::filesystem::path& key );

} // namespace VX::Backend
