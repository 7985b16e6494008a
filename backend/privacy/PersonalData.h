#pragma once

#include <json/value.h>
#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX::Backend
{

/// All that a service keeps of a person, by their e-mail address: account, sign-ins, failed ones, mails, limits,
/// conversions and statistics. Secrets are left out: hashes of passwords, codes and tokens tell nobody anything.
///
/// Beside a running service or without one. The error says why it cannot be told; a person of whom nothing is known has
/// empty lists.
[[nodiscard]] tl::expected<Json::Value, std::string> personalData(
    const std::filesystem::path& data, const std::string& email );

/// Removes all of that, with what was uploaded and converted, and the mails in the outbox: neither the address nor the
/// account's id nor the code that stands for the user in the statistics is in the folder afterwards. Backups are left
/// as they are.
[[nodiscard]] tl::expected<void, std::string> erasePersonalData(
    const std::filesystem::path& data, const std::string& email );

} // namespace VX::Backend
