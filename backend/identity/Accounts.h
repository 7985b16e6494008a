#pragma once

#include "database/Database.h"
#include "identity/AccessTokens.h"

#include <chrono>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace VX::Backend
{

struct Account
{
    std::string id; ///< 32 hexadecimal digits
    std::string email;
    std::string passwordHash;
    bool confirmed = false;
    std::chrono::sys_seconds created;
};

enum class CodePurpose
{
    SignUp,
    Reset
};

enum class CodeCheck
{
    Good,
    Wrong,
    Expired, ///< or there is none
    TooManyTries
};

enum class RefreshCheck
{
    Good,
    Expired,
    Invalid
};

/// Accounts, mailed codes, refresh tokens and failed sign-ins, in the database alone. Any thread and any process.
///
/// What belongs together is called within one `Database::Transaction` by whoever calls. Codes and refresh tokens are
/// kept as hashes only.
class Accounts
{
public:
    using Clock = AccessTokens::Clock;

    /// The key makes the hashes of codes, of which there are too few to hide without one.
    Accounts( Database& database, std::string codeKey, Clock clock );

    /// The address in its one form: ASCII letters in lower case. Empty when it is no address.
    [[nodiscard]] static std::string normalized( const std::string& email );

    /// Nothing when there is one of that address already.
    std::optional<Account> add( const std::string& email, const std::string& passwordHash, bool confirmed );
    [[nodiscard]] std::optional<Account> find( const std::string& email );
    [[nodiscard]] std::optional<Account> findById( const std::string& id );
    [[nodiscard]] std::vector<Account> list();
    /// Its sign-up codes end with it.
    void confirm( const std::string& id );
    /// Also ends all sign-ins and codes, and forgets failed sign-ins.
    void setPassword( const std::string& id, const std::string& passwordHash );
    /// With everything that belongs to it.
    void remove( const std::string& id );

    /// A new code of 6 digits. Those mailed before stay good: nobody knows in which order mails are read.
    [[nodiscard]] std::string newCode( const std::string& id, CodePurpose purpose, std::chrono::seconds life );
    /// Looks for the code among the account's codes of these purposes. A good one is used up with all of its purpose; a
    /// wrong one counts against each of them, so that a mailed code never bears more than its own few tries.
    [[nodiscard]] CodeCheck takeCode(
        const std::string& id, std::initializer_list<CodePurpose> purposes, const std::string& code );

    [[nodiscard]] std::string newRefreshToken( const std::string& id, std::chrono::seconds life );
    [[nodiscard]] RefreshCheck checkRefreshToken( const std::string& token, Account& account );

    /// Whether too many sign-ins have failed for this address, known or not, and how long ago.
    [[nodiscard]] bool isLocked( const std::string& email );
    void noteFailure( const std::string& email );
    void forgetFailures( const std::string& email );

    /// Deletes what has long expired.
    void clean();

private:
    void takeOverOldCodes_();
    [[nodiscard]] CodeCheck takeCodeOf_( const std::string& id, CodePurpose purpose, const std::string& code );
    [[nodiscard]] std::string codeHash_( const std::string& id, CodePurpose purpose, const std::string& code ) const;

    Database& database_;
    std::string codeKey_;
    Clock clock_;
};

} // namespace VX::Backend
