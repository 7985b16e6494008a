#pragma once

#include "http/HttpServer.h"

#include <json/value.h>

#include <functional>
#include <string>

namespace VX::Backend
{

/// One call of the user-pool protocol.
struct AuthCall
{
    std::string operation; ///< "InitiateAuth", the end of the x-amz-target header
    Json::Value body;      ///< an object
    std::string remoteAddress;
};

/// Whether somebody may come in by an access token.
struct AccessCheck
{
    enum class Verdict
    {
        Good,
        Bad,
        Unknown ///< it cannot be found out now
    };
    Verdict verdict = Verdict::Bad;
    std::string account; ///< whose it is, when it is good
};

/// Who answers the calls: a store of accounts of our own, or somebody else's. Any thread.
class IdentityService
{
public:
    virtual ~IdentityService() = default;
    /// Whether the answer takes so little time that it need not wait for its turn.
    [[nodiscard]] virtual bool isQuick( const AuthCall& call ) const = 0;
    /// How many others are worth being worked at together.
    [[nodiscard]] virtual int threads() const = 0;
    /// The answer; it may block.
    [[nodiscard]] virtual HttpResponse answer( const AuthCall& call ) = 0;
    using AccessTold = std::function<void( AccessCheck )>;
    /// Tells whether an access token is good, at once or later on another thread. The address is the client's, empty
    /// where it is not known.
    virtual void checkAccess( const std::string& accessToken, const std::string& address, AccessTold told ) = 0;
    /// Tells what is still to be told, and nothing later than at once after it.
    virtual void stop() {}
};

/// The content type of the protocol.
inline constexpr const char* cAuthContentType = "application/x-amz-json-1.1";

[[nodiscard]] HttpResponse authSuccess( const Json::Value& body );
/// {"__type", "message"} with the headers that clients read; the type is like "NotAuthorizedException".
[[nodiscard]] HttpResponse authFailure( const std::string& type, const std::string& message, int status = 400 );
/// That it cannot be told now, in the form that clients take for a bad connection: they try again, and keep their
/// tokens.
[[nodiscard]] HttpResponse authUnavailable();

} // namespace VX::Backend
