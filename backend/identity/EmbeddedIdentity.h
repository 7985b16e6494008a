#pragma once

#include "identity/Accounts.h"
#include "identity/IdentityLimits.h"
#include "identity/IdentityService.h"
#include "identity/keys/AccessTokens.h"
#include "mail/MailQueue.h"

namespace VX::Backend
{

struct EmbeddedIdentityOptions : IdentityLimitOptions
{
    std::chrono::seconds refreshLife = std::chrono::days( 30 );
    std::chrono::seconds signUpCodeLife = std::chrono::hours( 24 );
    std::chrono::seconds resetCodeLife = std::chrono::hours( 1 );
};

/// The identity service with accounts of its own. Everything an operation changes is one transaction, so that whatever
/// a crash cuts off leaves an account that can be used: one that was not confirmed in time by a password reset.
///
/// An unknown address takes as long as a wrong password and is told the same. Limits by address are for clients whose
/// address is known: an empty one is limited by account and together with all others.
class EmbeddedIdentity final : public IdentityService
{
public:
    using Clock = AccessTokens::Clock;

    /// What is passed must outlive this object.
    EmbeddedIdentity( Database& database, Accounts& accounts, const AccessTokens& tokens, MailQueue& mails,
        EmbeddedIdentityOptions options, const Clock& clock );

    [[nodiscard]] bool isQuick( const AuthCall& call ) const override;
    // Hashing a password fills a core and 64 MiB.
    [[nodiscard]] int threads() const override { return 2; }
    [[nodiscard]] HttpResponse answer( const AuthCall& call ) override;
    void checkAccess( const std::string& accessToken, const std::string& address, AccessTold told ) override;

private:
    /// The answer, or that there can be none now.
    using Outcome = DatabaseResult<HttpResponse>;

    [[nodiscard]] Outcome initiateAuth_( const AuthCall& call );
    [[nodiscard]] Outcome signInByPassword_( const AuthCall& call );
    /// Signs somebody in whose password was right a moment ago.
    [[nodiscard]] Outcome signIn_( const AuthCall& call, const Account& account );
    [[nodiscard]] Outcome signInByToken_( const AuthCall& call );
    [[nodiscard]] Outcome signUp_( const AuthCall& call );
    [[nodiscard]] Outcome confirmSignUp_( const AuthCall& call );
    [[nodiscard]] Outcome resendCode_( const AuthCall& call );
    [[nodiscard]] Outcome forgotPassword_( const AuthCall& call );
    [[nodiscard]] Outcome mailToKnown_( const AuthCall& call, CodePurpose purpose );
    [[nodiscard]] Outcome confirmForgotPassword_( const AuthCall& call );
    [[nodiscard]] Outcome revokeToken_( const AuthCall& call );
    [[nodiscard]] Outcome getUser_( const AuthCall& call );

    [[nodiscard]] Json::Value tokensOf_( const Account& account, const std::string& refreshToken ) const;
    [[nodiscard]] DatabaseResult<void> noteFailure_( const AuthCall& call, const std::string& email );
    /// The answer to a client that has asked for what there is not, once that is counted.
    [[nodiscard]] Outcome afterGuess_(
        Database::Transaction& transaction, const AuthCall& call, const HttpResponse& answer );
    /// Mails a code once more to somebody who knows the password of an account that is not confirmed. Whether it could
    /// be sent is for the log alone.
    void remind_( const AuthCall& call, const Account& account );
    [[nodiscard]] Outcome remindWithinLimits_( const AuthCall& call, const Account& account );
    /// Makes a code and writes its mail, within the caller's transaction; the number of the mail.
    [[nodiscard]] DatabaseResult<int64_t> writeCode_( const Account& account, CodePurpose purpose );
    /// An address whose code could not be sent is free again.
    [[nodiscard]] DatabaseResult<void> undoSignUp_( const Account& account, int64_t mail );
    /// Mails a code to an account that is there; the answer says where it went, or that it could not be sent.
    [[nodiscard]] Outcome mailCode_( const AuthCall& call, const Account& account, CodePurpose purpose );

    Database& database_;
    Accounts& accounts_;
    const AccessTokens& tokens_;
    MailQueue& mails_;
    EmbeddedIdentityOptions options_;
    IdentityLimits limits_;
};

} // namespace VX::Backend
