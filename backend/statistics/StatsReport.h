#pragma once

#include "database/DataPlace.h"

#include <filesystem>

namespace VX::Backend
{

struct StatsReportOptions : DataPlace
{
    /// How many days back, and how many lines of actions at most.
    int days = 30;
    int actions = 20;
    /// Lines of "section,key,count" for a spreadsheet.
    bool csv = false;
};

/// Prints sessions and users a day, those of addresses without an account apart, the actions that were reported most,
/// versions and platforms; the exit status.
[[nodiscard]] int printStatsReport( const StatsReportOptions& options );

} // namespace VX::Backend
