#pragma once

#include "identity/KeptLimit.h"
#include "identity/RateLimiter.h"

namespace VX::Backend
{

struct IdentityLimitOptions
{
    /// Passwords and codes from one address in a minute that may be wrong, each of which has cost a hash.
    int triesPerMinute = 600;
    /// Sign-ins in an hour that may fail, of all clients together, before accounts at which some fail are slowed down.
    int failuresPerHour = 3000;
    /// Accounts and codes that one address may ask for in an hour, and which there are not.
    int guessesPerHour = 100;
    /// Mails that one address may cause in an hour, and how many one account gets in a quarter of it.
    int mailsPerHour = 100;
    int mailsPerAccount = 5;
    /// Mails in an hour of all clients together, of which those without an address cause half at most.
    int mailsPerHourOfAll = 2000;
};

/// How often clients may do what costs others something: by their address where it is known, by account, and all of
/// them together. All but the tries of a minute is kept across a restart. Any thread.
class IdentityLimits
{
public:
    using Clock = KeptLimit::Clock;
    template <typename T>
    using Result = DatabaseResult<T>;

    IdentityLimits( Database& database, const IdentityLimitOptions& options, const Clock& clock );

    /// Whether too much that this client has tried within a minute was wrong. What is right is not counted.
    [[nodiscard]] bool triesSpent( const std::string& address ) { return tries_.isSpent( address ); }
    void countTry( const std::string& address ) { tries_.count( address ); }
    /// Whether more sign-ins have failed than do where nobody guesses.
    [[nodiscard]] Result<bool> failuresSpent() const;
    [[nodiscard]] Result<void> countFailure();

    /// Whether this client has asked for too many accounts and codes that there are not.
    [[nodiscard]] Result<bool> guessesSpent( const std::string& address ) const;
    [[nodiscard]] Result<void> countGuess( const std::string& address );

    /// Whether no more mails may be sent to an account for a client.
    [[nodiscard]] Result<bool> mailsSpent( const std::string& address, const std::string& email ) const;
    [[nodiscard]] Result<void> countMail( const std::string& address, const std::string& email );
    /// Whether no more mails may be sent that nobody has asked for: some are left to an account that are asked for.
    [[nodiscard]] Result<bool> remindersSpent( const std::string& email ) const;
    [[nodiscard]] Result<void> countReminder( const std::string& email );

private:
    RateLimiter tries_;
    KeptLimit failures_;
    KeptLimit guesses_;
    KeptLimit mailsOfAll_;
    KeptLimit mailsOfNameless_;
    KeptLimit mailsOfAddress_;
    KeptLimit mailsOfAccount_;
    KeptLimit reminders_;
};

} // namespace VX::Backend
