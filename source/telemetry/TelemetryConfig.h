#pragma once

namespace VX
{

/// The user's consent to usage statistics; true where nothing is stored.
inline constexpr const char* cTelemetryAllowedConfigKey = "allowSimpleTelemetry";

/// The integer 0 once the user has answered the note about usage statistics.
inline constexpr const char* cShowTelemetryDisclaimerModalConfigKey = "telemetryDisclaimerModalShowed";

} // namespace VX
