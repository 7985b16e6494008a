#pragma once

#include "database/DataPlace.h"
#include "storage/Presigner.h"

#include <json/value.h>
#include <tl/expected.hpp>

#include <string>

namespace VX::Backend
{

/// All that a service keeps of a person, by their e-mail address: account, here or at another identity service,
/// sign-ins, failed ones, mails, limits, conversions and statistics, and their name in the log. Secrets are left out:
/// hashes of passwords, codes and tokens tell nobody anything.
///
/// Of statistics whose codes were made with keys that are gone nobody can tell whose they are; how many there are is
/// told.
///
/// Beside a running service or without one. The error says why it cannot be told; a person of whom nothing is known has
/// empty lists.
[[nodiscard]] tl::expected<Json::Value, std::string> personalData( const DataPlace& place, const std::string& email );

struct Erased
{
    /// Sessions of the statistics, of anybody, that were made with keys that are gone.
    int64_t nobodysSessions = 0;
};

/// Removes all of that, with what was uploaded and converted, and the mails in the outbox: neither the address nor the
/// account's id nor the code that stands for the user in the statistics is in the folder afterwards. Backups are left
/// as they are. What was uploaded and converted is looked for in the bucket, where that has an endpoint; while it
/// cannot be asked nothing is erased.
[[nodiscard]] tl::expected<Erased, std::string> erasePersonalData(
    const DataPlace& place, const std::string& email, const S3Bucket& bucket = {} );

} // namespace VX::Backend
