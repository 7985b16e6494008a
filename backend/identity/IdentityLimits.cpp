#include "identity/IdentityLimits.h"

#include <algorithm>

namespace VX::Backend
{
namespace
{

using std::chrono::hours;
using std::chrono::minutes;

const std::string cAll = "all";

std::string namelessOf( const std::string& address )
{
    return address.empty() ? cAll : std::string();
}

} // namespace

IdentityLimits::IdentityLimits( Database& database, const IdentityLimitOptions& options, const Clock& clock )
    : tries_( options.triesPerMinute, minutes( 1 ), clock )
    , failures_( database, "failures", options.failuresPerHour, hours( 1 ), clock )
    , guesses_( database, "guesses", options.guessesPerHour, hours( 1 ), clock )
    , mailsOfAll_( database, "mails", options.mailsPerHourOfAll, hours( 1 ), clock )
    , mailsOfNameless_( database, "nameless-mails", std::max( options.mailsPerHourOfAll / 2, 1 ), hours( 1 ), clock )
    , mailsOfAddress_( database, "address-mails", options.mailsPerHour, hours( 1 ), clock )
    , mailsOfAccount_( database, "account-mails", options.mailsPerAccount, minutes( 15 ), clock )
    // One for the sign-up and one for the reset that the reminder itself leads to.
    , reminders_( database, "reminders", std::max( options.mailsPerAccount - 2, 1 ), minutes( 15 ), clock )
{
}

DatabaseResult<bool> IdentityLimits::failuresSpent() const
{
    return failures_.isSpent( cAll );
}

DatabaseResult<void> IdentityLimits::countFailure()
{
    return failures_.count( cAll );
}

DatabaseResult<bool> IdentityLimits::guessesSpent( const std::string& address ) const
{
    return guesses_.isSpent( address );
}

DatabaseResult<void> IdentityLimits::countGuess( const std::string& address )
{
    return guesses_.count( address );
}

DatabaseResult<bool> IdentityLimits::mailsSpent( const std::string& address, const std::string& email ) const
{
    for ( const auto& [limit, key] : { std::pair( &mailsOfAccount_, email ), std::pair( &mailsOfAddress_, address ),
              std::pair( &mailsOfNameless_, namelessOf( address ) ), std::pair( &mailsOfAll_, cAll ) } )
        if ( const auto spent = limit->isSpent( key ); !spent || *spent )
            return spent;
    return false;
}

DatabaseResult<void> IdentityLimits::countMail( const std::string& address, const std::string& email )
{
    return mailsOfAccount_.count( email )
        .and_then( [&] { return mailsOfAddress_.count( address ); } )
        .and_then( [&] { return mailsOfNameless_.count( namelessOf( address ) ); } )
        .and_then( [&] { return mailsOfAll_.count( cAll ); } );
}

DatabaseResult<bool> IdentityLimits::remindersSpent( const std::string& email ) const
{
    return reminders_.isSpent( email );
}

DatabaseResult<void> IdentityLimits::countReminder( const std::string& email )
{
    return reminders_.count( email );
}

} // namespace VX::Backend
