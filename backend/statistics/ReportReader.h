#pragma once

#include "statistics/StatsStore.h"

#include <tl/expected.hpp>

#include <string>

namespace VX::Backend
{

/// What the body of a report says, or what is wrong with it. Users become codes, made with `userKey`.
[[nodiscard]] tl::expected<Report, std::string> readReport( const std::string& body, const std::string& userKey );

/// The code that stands for a user in the statistics, whatever the case of the address.
[[nodiscard]] std::string codeOfUser( const std::string& email, const std::string& userKey );

/// Tells keys of such codes apart, and nothing about them.
[[nodiscard]] std::string markOfKey( const std::string& userKey );

} // namespace VX::Backend
