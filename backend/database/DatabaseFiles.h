#pragma once

namespace VX::Backend
{

/// Accounts, conversions and mails, in the data folder.
inline constexpr const char* cMainDatabase = "orvanta.db";
/// Statistics have one of their own, beside it, so that nobody waits for them.
inline constexpr const char* cStatisticsDatabase = "statistics.db";

/// The same as schemas of a server.
inline constexpr const char* cMainSchema = "orvanta";
inline constexpr const char* cStatisticsSchema = "orvanta_statistics";

} // namespace VX::Backend
