#pragma once

#include "database/Database.h"

#include <chrono>
#include <functional>
#include <string>

namespace VX::Backend
{

/// The names by which another service knows its users, until they have not been used for 400 days. Any thread.
///
/// A proof of a refresh is made with the name of the token's owner, which is kept by the hash of the token, for tokens
/// outlive a process. The names that belong to an address lead from a person to what is kept of theirs.
class GatewayNames
{
public:
    using Clock = std::function<std::chrono::sys_seconds()>;

    /// Makes the table where it is missing.
    [[nodiscard]] static DatabaseResult<void> prepare( Database& database );
    /// Deletes what has not been used for so long.
    [[nodiscard]] static DatabaseResult<void> clean( Database& database, std::chrono::sys_seconds now );

    GatewayNames( Database& database, Clock clock );

    [[nodiscard]] DatabaseResult<void> remember( const std::string& refreshToken, const std::string& name );
    /// Forgets the name of a token that is good no more.
    [[nodiscard]] DatabaseResult<void> forget( const std::string& refreshToken );
    /// Notes that the service knows the user of this e-mail address by that name; anything that is no address is
    /// nobody's.
    [[nodiscard]] DatabaseResult<void> rememberPerson( const std::string& email, const std::string& name );
    /// Empty when it is not known.
    [[nodiscard]] DatabaseResult<std::string> nameOf( const std::string& refreshToken );

private:
    [[nodiscard]] int64_t now_() const { return clock_().time_since_epoch().count(); }

    Database& database_;
    Clock clock_;
};

} // namespace VX::Backend
