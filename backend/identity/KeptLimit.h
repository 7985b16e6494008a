#pragma once

#include "database/Database.h"

#include <chrono>
#include <functional>
#include <string>

namespace VX::Backend
{

/// At most so many events for one key in a span of time, counted from the first event of the span. They are counted in
/// the database, within the caller's transaction if there is one: a restart forgives nobody. Any thread.
class KeptLimit
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    /// Makes the table where it is missing; it is one for all limits.
    [[nodiscard]] static DatabaseResult<void> prepare( Database& database );
    /// Deletes spans that are over, and the oldest where there are far too many keys.
    [[nodiscard]] static DatabaseResult<void> clean( Database& database, std::chrono::sys_seconds now );

    /// The name is that of the limit among all others.
    KeptLimit( Database& database, std::string name, int64_t most, std::chrono::seconds span, Clock clock );

    /// Whether the next event would be one too many. Nobody is nobody's key: an empty one is never spent.
    [[nodiscard]] DatabaseResult<bool> isSpent( const std::string& key ) const;
    [[nodiscard]] DatabaseResult<void> count( const std::string& key );

private:
    [[nodiscard]] int64_t now_() const { return clock_().time_since_epoch().count(); }

    Database& database_;
    std::string name_;
    int64_t most_;
    int64_t span_;
    Clock clock_;
};

} // namespace VX::Backend
