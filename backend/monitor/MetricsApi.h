#pragma once

#include "http/HttpService.h"
#include "metrics/RequestMeasures.h"
#include "monitor/Figures.h"

namespace VX::Backend
{

/// "/metrics": what the process does and has, in the text format of Prometheus. It waits for nothing.
class MetricsApi final : public HttpService
{
public:
    /// Both must outlive this object.
    MetricsApi( const RequestMeasures& requests, const FigureKeeper& figures );

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/metrics"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

    [[nodiscard]] std::string text() const;

private:
    const RequestMeasures& requests_;
    const FigureKeeper& figures_;
    std::chrono::sys_seconds started_;
};

} // namespace VX::Backend
