#pragma once

#include <VXOrvanta/Export.h>

#include <json/value.h>

#include <functional>
#include <string>

namespace VX
{

/// Requests to the identity service, in the JSON protocol of Amazon Cognito user pools. The service adds what belongs
/// to the product, such as the app client's id, so nothing secret is in here.
///
/// Call them on the UI thread; each returns at once. The callback is called exactly once, on the UI thread, with the
/// framework's response object, which `parseResponse` understands. Nothing is validated: what is typed is sent.
/// Endpoint: https://docs.aws.amazon.com/cognito-user-identity-pools/latest/APIReference
class VXORVANTA_API Cognito
{
public:
    using Callback = std::function<void( const Json::Value& response )>;

    /// Answered with an object "AuthenticationResult" of "AccessToken", "RefreshToken" and more.
    static void signInEmail( const std::string& email, const std::string& password, Callback callback );
    /// The same by a stored refresh token, with the analytics id that was stored beside it; no new refresh token comes.
    static void signInToken( const std::string& refreshToken, const std::string& endpointId, Callback callback );
    /// Mails a code; answered with "CodeDeliveryDetails".
    static void signUp( const std::string& email, const std::string& password, Callback callback );
    static void confirmSignUp( const std::string& email, const std::string& code, Callback callback );
    /// Mails a code for a new password; answered with "CodeDeliveryDetails".
    static void forget( const std::string& email, Callback callback );
    static void confirmForget(
        const std::string& email, const std::string& newPassword, const std::string& code, Callback callback );
    static void resendConfirmationCode( const std::string& email, Callback callback );

    /// The analytics id of a user: the name-based UUID (RFC 4122, version 5, DNS namespace) of the address in lower
    /// case, in its 36-character form.
    [[nodiscard]] static std::string getEndpoint( const std::string& email );

    /// The product's version with "-" for spaces.
    [[nodiscard]] static std::string versionNoSpaces();

    static const std::string cAuthUrl;
};

} // namespace VX
