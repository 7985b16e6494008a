#pragma once

#include "database/Database.h"
#include "identity/keys/AccessTokens.h"

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
    std::string id;
    std::string email;
    std::string passwordHash;
    bool confirmed = false;
    std::chrono::sys_seconds created;
    /// How often its password was changed or it was blocked; what was given out before the last time is good no more.
    int64_t generation = 0;
    /// Kept out by an operator.
    bool blocked = false;
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
    Expired,     ///< or there is none
    TooManyTries ///< of this code, or of all codes of the account within a day
};

/// With failed sign-ins.
enum class Patience
{
    Usual,
    Short ///< while far more fail, at all accounts together, than people mistype
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
/// kept as hashes only. An error never says anything about an account: the database could not be asked or written.
class Accounts
{
public:
    using Clock = AccessTokens::Clock;
    template <typename T>
    using Result = DatabaseResult<T>;

    /// Makes the tables that are missing, and takes over those of older versions.
    [[nodiscard]] static Result<void> prepare( Database& database );

    /// The key makes the hashes of codes, of which there are too few to hide without one, and of refresh tokens, so
    /// that another key ends them.
    Accounts( Database& database, std::string codeKey, Clock clock );

    /// The address in its one form: ASCII letters in lower case. Empty when it is no address.
    [[nodiscard]] static std::string normalized( const std::string& email );

    /// Whether an account may be made for an address in that form: nothing in it steers a terminal or turns the
    /// direction of the writing. Older accounts may have such.
    [[nodiscard]] static bool isVisible( const std::string& email );

    /// Nothing when there is one of that address already. The id has the form of a UUID.
    [[nodiscard]] Result<std::optional<Account>> add(
        const std::string& email, const std::string& passwordHash, bool confirmed );
    [[nodiscard]] Result<std::optional<Account>> find( const std::string& email );
    [[nodiscard]] Result<std::optional<Account>> findById( const std::string& id );
    [[nodiscard]] Result<std::vector<Account>> list();
    /// Its sign-up codes end with it.
    [[nodiscard]] Result<void> confirm( const std::string& id );
    /// Also ends all sign-ins and codes, and forgets failed sign-ins.
    [[nodiscard]] Result<void> setPassword( const std::string& id, const std::string& passwordHash );
    /// Keeps it out, and ends its sign-ins, or lets it in again by its password.
    [[nodiscard]] Result<void> setBlocked( const std::string& id, bool blocked );
    /// With everything that belongs to it.
    [[nodiscard]] Result<void> remove( const std::string& id );

    /// A new code of 6 digits. Those mailed before stay good: nobody knows in which order mails are read.
    [[nodiscard]] Result<std::string> newCode( const std::string& id, CodePurpose purpose, std::chrono::seconds life );
    /// Looks for the code among the account's codes of these purposes. A good one is used up with all of its purpose; a
    /// wrong one counts against each of them, so that a mailed code never bears more than its own few tries, and
    /// against the account: after ten within a day none is good until that day is over.
    [[nodiscard]] Result<CodeCheck> takeCode(
        const std::string& id, std::initializer_list<CodePurpose> purposes, const std::string& code );

    [[nodiscard]] Result<std::string> newRefreshToken( const std::string& id, std::chrono::seconds life );
    [[nodiscard]] Result<RefreshCheck> checkRefreshToken( const std::string& token, Account& account );
    /// Ends the sign-in that has this refresh token, if there is one.
    [[nodiscard]] Result<void> endSignIn( const std::string& refreshToken );

    /// Whether too many sign-ins have failed for this account, known or not, and how long ago: from this client's
    /// address for longer and longer, and from all addresses together so that one a minute is let through. With short
    /// patience each failure, from wherever it came, locks it for longer and longer.
    [[nodiscard]] Result<bool> isLocked(
        const std::string& email, const std::string& address, Patience patience = Patience::Usual );
    [[nodiscard]] Result<void> noteFailure( const std::string& email, const std::string& address );
    /// Of this address; what others have failed at stays.
    [[nodiscard]] Result<void> forgetFailures( const std::string& email, const std::string& address );

    /// Deletes what has long expired, and accounts that nobody has confirmed for a month.
    [[nodiscard]] Result<void> clean();

private:
    [[nodiscard]] Result<bool> hasGuessesLeft_( const std::string& id );
    [[nodiscard]] Result<void> noteGuess_( const std::string& id );
    [[nodiscard]] Result<CodeCheck> takeCodeOf_( const std::string& id, CodePurpose purpose, const std::string& code );
    [[nodiscard]] std::string tokenHash_( const std::string& token ) const;
    [[nodiscard]] std::string codeHash_( const std::string& id, CodePurpose purpose, const std::string& code ) const;

    Database& database_;
    std::string codeKey_;
    Clock clock_;
};

} // namespace VX::Backend
