#pragma once

#include "http/HttpServer.h"
#include "monitor/Figures.h"
#include "monitor/HealthApi.h"
#include "monitor/LivenessApi.h"
#include "monitor/MetricsApi.h"
#include "serve/Router.h"

#include <tl/expected.hpp>

#include <memory>
#include <string>

namespace VX::Backend
{

/// What tells the operator how the service is, on a listener of its own, so that no stranger comes to it and no crowd
/// of clients stands before it. Plain HTTP with threads of its own.
class MonitorListener
{
public:
    /// What is passed by reference must outlive this object.
    MonitorListener(
        HealthApi& health, LivenessApi& liveness, RequestMeasures& requests, std::unique_ptr<FigureKeeper> figures );
    ~MonitorListener();
    MonitorListener( const MonitorListener& ) = delete;
    MonitorListener& operator=( const MonitorListener& ) = delete;

    /// Listens at "ADDRESS:PORT", an IPv6 address in brackets; port 0 takes a free one.
    [[nodiscard]] tl::expected<void, std::string> listen( const std::string& where );
    /// Whether that can be listened at, as far as it tells; nothing is as well.
    [[nodiscard]] static tl::expected<void, std::string> check( const std::string& where );

    [[nodiscard]] uint16_t port() const { return server_ ? server_->port() : uint16_t( 0 ); }

private:
    std::unique_ptr<FigureKeeper> figures_;
    MetricsApi metrics_;
    Router router_;
    std::unique_ptr<HttpServer> server_;
};

/// A new name for a request, which nobody else has.
[[nodiscard]] std::string newRequestName();

} // namespace VX::Backend
