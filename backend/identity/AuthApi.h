#pragma once

#include "identity/IdentityService.h"
#include "work/WorkerPool.h"

#include <memory>

namespace VX::Backend
{

/// "/auth": the operation is in the header "x-amz-target", its parameters are the JSON object in the body.
class AuthApi final : public HttpHandler
{
public:
    explicit AuthApi( IdentityService& identity );

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/auth" || path == "/auth/"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;

    /// Answers what waits and nothing that comes later.
    void stop();

private:
    IdentityService& identity_;
    std::mutex mutex_;
    std::shared_ptr<WorkerPool> pool_;
};

} // namespace VX::Backend
