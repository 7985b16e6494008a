#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX::Backend
{

/// Copies what a service keeps into a new folder, beside the running service or without it: accounts, sign-ins, limits,
/// mails, statistics, keys and the service's own certificate, each database as it was at one moment. Conversions, which
/// live for an hour, and their files are left out.
///
/// The folder appears when it is whole, closed to others. The error says what went wrong; nothing is left then.
[[nodiscard]] tl::expected<void, std::string> makeBackup(
    const std::filesystem::path& data, const std::filesystem::path& folder );

/// Makes a folder of data from a backup, of this version or an older one. One in which there is a database already, or
/// which a service uses, is refused as it is; so is a backup that is not whole.
[[nodiscard]] tl::expected<void, std::string> restoreBackup(
    const std::filesystem::path& folder, const std::filesystem::path& data );

} // namespace VX::Backend
