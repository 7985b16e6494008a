#pragma once

#include "http/HttpService.h"
#include "identity/IdentityService.h"
#include "identity/RefusalLog.h"
#include "work/TurnPool.h"

namespace VX::Backend
{

/// "/auth": the operation is in the header "x-amz-target", its parameters are the JSON object in the body. What takes
/// its time is answered in turns by client; those without an address are one among others.
class AuthApi final : public HttpService
{
public:
    /// The key makes the names of accounts and clients in the log.
    AuthApi( IdentityService& identity, std::string nameKey, RefusalLog::Clock clock );

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/auth" || path == "/auth/"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;

    /// Waits for what is under way, and refuses what waits and what comes later.
    void stop();

private:
    /// With a line of the log where it is a refusal.
    [[nodiscard]] HttpResponse noted_( const AuthCall& call, HttpResponse answer );

    static constexpr size_t cMostWaiting = 256;

    IdentityService& identity_;
    RefusalLog refusals_;
    TurnPool pool_;
};

} // namespace VX::Backend
