#pragma once

#include "converter/ConversionJobs.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

/// Rows of the database, as jobs.
namespace VX::Backend
{

/// What is read of a job, in this order.
inline const std::string cJobColumns = "id, input_format, state, error, owner, attempts, request, queued";

[[nodiscard]] inline int64_t stateNumber( JobState state )
{
    return int64_t( state );
}

[[nodiscard]] inline ConversionJob toJob( const SqlRow& row )
{
    return { textOf( row[0] ), textOf( row[1] ), JobState( integerOf( row[2] ) ), textOf( row[3] ), textOf( row[4] ),
        integerOf( row[5] ), textOf( row[6] ), integerOf( row[7] ) };
}

using Rows = std::vector<SqlRow>;

[[nodiscard]] inline std::vector<ConversionJob> toJobs( const Rows& rows )
{
    std::vector<ConversionJob> out;
    std::transform( rows.begin(), rows.end(), std::back_inserter( out ), toJob );
    return out;
}

[[nodiscard]] inline std::optional<ConversionJob> onlyOf( const Rows& rows )
{
    return rows.empty() ? std::nullopt : std::optional( toJob( rows.front() ) );
}

} // namespace VX::Backend
