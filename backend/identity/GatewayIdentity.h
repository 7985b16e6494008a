#pragma once

#include "identity/AccessTokens.h"
#include "identity/IdentityService.h"
#include "work/WorkerPool.h"

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
};

/// Forwards every call to another service, with the app client's id (and its proof, where it has a secret) added, and
/// passes the answers back unchanged.
///
/// The proof of a refresh is made with the name that the service itself knows the user by; it is remembered from the
/// sign-in, for this process's life. Source of the formula:
/// https://docs.aws.amazon.com/cognito/latest/developerguide/signing-up-users-in-your-app.html
class GatewayIdentity final : public IdentityService
{
public:
    GatewayIdentity( GatewayOptions options, AccessTokens::Clock clock );

    [[nodiscard]] bool isQuick( const AuthCall& ) const override { return false; }
    [[nodiscard]] HttpResponse answer( const AuthCall& call ) override;
    /// Asks the service itself whose token it is.
    void checkAccess( const std::string& accessToken, AccessTold told ) override;
    void stop() override;

    /// The proof: base64( HMAC-SHA256( secret, user name + client id ) ).
    [[nodiscard]] static std::string secretHash(
        const std::string& secret, const std::string& userName, const std::string& clientId );

private:
    static constexpr int cThreads = 2;
    static constexpr size_t cMostWaiting = 256;

    [[nodiscard]] Json::Value completed_( const AuthCall& call );
    [[nodiscard]] HttpResponse forward_( const std::string& operation, const Json::Value& body ) const;
    void rememberName_( const HttpResponse& answer );
    [[nodiscard]] std::string nameOf_( const std::string& refreshToken );
    /// Whose token it is, where the service has said so not long ago.
    [[nodiscard]] std::optional<std::string> believedAccount_( const std::string& tokenHash );
    [[nodiscard]] AccessCheck askForAccess_( const std::string& accessToken, const std::string& tokenHash );

    GatewayOptions options_;
    AccessTokens::Clock clock_;
    std::mutex mutex_;
    /// By hash of the refresh token.
    std::unordered_map<std::string, std::string> names_;
    struct Belief
    {
        std::string account;
        std::chrono::sys_seconds until;
    };
    /// By hash of the access token.
    std::unordered_map<std::string, Belief> believed_;
    WorkerPool pool_{ cThreads, cMostWaiting };
};

} // namespace VX::Backend
