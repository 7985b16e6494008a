#pragma once

#include "identity/IdentityService.h"
#include "identity/RateLimiter.h"
#include "identity/gateway/GatewayNames.h"
#include "identity/gateway/UserPoolClient.h"
#include "identity/keys/AccessTokens.h"
#include "work/TurnPool.h"

#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace VX::Backend
{

struct GatewayOptions
{
    std::string endpoint;     ///< HTTPS URL of a service that speaks the user-pool protocol
    std::string clientId;     ///< of the app client
    std::string clientSecret; ///< empty where the app client has none
    std::chrono::milliseconds timeout{ 8000 };
    /// How long a token that the service has called good is believed.
    std::chrono::seconds belief{ 300 };
    /// How long one that it has called bad is not asked about again.
    std::chrono::seconds disbelief{ 60 };
    /// What the service may refuse within a minute of what one address sends; more is not sent.
    int refusalsPerMinute = 60;
};

/// Forwards every call to another service, with the app client's id (and its proof, where it has a secret) added, and
/// passes the answers back unchanged.
///
/// The proof of a refresh is made with the name that the service itself knows the user by; it is remembered from the
/// sign-in. Source of the formula:
/// https://docs.aws.amazon.com/cognito/latest/developerguide/signing-up-users-in-your-app.html
class GatewayIdentity final : public IdentityService
{
public:
    /// The database must outlive it; that of `GatewayNames` is used.
    GatewayIdentity( Database& database, GatewayOptions options, AccessTokens::Clock clock );

    [[nodiscard]] bool isQuick( const AuthCall& ) const override { return false; }
    [[nodiscard]] int threads() const override { return cThreads; }
    [[nodiscard]] HttpResponse answer( const AuthCall& call ) override;
    /// Asks the service itself whose token it is, where that is not known yet: in turns by client. One that cannot be a
    /// token, or has ended, is bad without a question.
    void checkAccess( const std::string& accessToken, const std::string& address, AccessTold told ) override;
    void stop() override;

    /// The proof: base64( HMAC-SHA256( secret, user name + client id ) ).
    [[nodiscard]] static std::string secretHash(
        const std::string& secret, const std::string& userName, const std::string& clientId );

private:
    // They only wait.
    static constexpr int cThreads = 16;
    static constexpr size_t cMostWaiting = 256;

    [[nodiscard]] DatabaseResult<Json::Value> completed_( const AuthCall& call );
    [[nodiscard]] DatabaseResult<std::string> proofOf_( const Json::Value& parameters );
    [[nodiscard]] DatabaseResult<HttpResponse> forwarded_( const AuthCall& call );
    [[nodiscard]] DatabaseResult<void> rememberName_( const AuthCall& call, const HttpResponse& answer );
    /// What the service has said of a token not long ago.
    [[nodiscard]] std::optional<AccessCheck> remembered_( const std::string& tokenHash );
    [[nodiscard]] AccessCheck askForAccess_( const std::string& accessToken, const std::string& tokenHash,
        const std::string& address, std::chrono::sys_seconds end );
    [[nodiscard]] AccessCheck good_(
        const Json::Value& user, const std::string& tokenHash, std::chrono::sys_seconds end );

    GatewayOptions options_;
    AccessTokens::Clock clock_;
    UserPoolClient client_;
    GatewayNames names_;
    RateLimiter refusals_;
    std::mutex mutex_;
    struct Belief
    {
        std::string account;
        std::chrono::sys_seconds until;
    };
    /// By hash of the access token.
    std::unordered_map<std::string, Belief> believed_;
    /// Until when a token is called bad; apart, so that strangers push out nobody's belief.
    std::unordered_map<std::string, std::chrono::sys_seconds> disbelieved_;
    TurnPool pool_{ cThreads, cMostWaiting };
};

} // namespace VX::Backend
