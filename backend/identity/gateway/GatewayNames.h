#pragma once

#include "database/Database.h"

#include <chrono>
#include <functional>
#include <string>

namespace VX::Backend
{

/// The names by which another service knows the owners of refresh tokens: a proof of a refresh is made with them, and
/// tokens outlive a process. They are kept by the hash of their token, until it has not been used for 400 days. Any
/// thread.
class GatewayNames
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    /// Makes the table where it is missing.
    [[nodiscard]] static DatabaseResult<void> prepare( Database& database );
    /// Deletes what nobody has used for so long.
    [[nodiscard]] static DatabaseResult<void> clean( Database& database, std::chrono::sys_seconds now );

    GatewayNames( Database& database, Clock clock );

    [[nodiscard]] DatabaseResult<void> remember( const std::string& refreshToken, const std::string& name );
    /// Empty when it is not known.
    [[nodiscard]] DatabaseResult<std::string> nameOf( const std::string& refreshToken );

private:
    [[nodiscard]] int64_t now_() const { return clock_().time_since_epoch().count(); }

    Database& database_;
    Clock clock_;
};

} // namespace VX::Backend
