#pragma once

#include "http/HttpService.h"
#include "identity/keys/AccessTokens.h"

namespace VX::Backend
{

/// "/.well-known/jwks.json": the public keys by which other services check tokens of this one.
class KeysApi final : public HttpService
{
public:
    explicit KeysApi( const AccessTokens& tokens )
        : tokens_( tokens )
    {
    }

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/.well-known/jwks.json"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

private:
    const AccessTokens& tokens_;
};

} // namespace VX::Backend
