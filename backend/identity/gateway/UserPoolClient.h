#pragma once

#include "http/CurlHandles.h"
#include "http/HttpServer.h"

#include <json/value.h>

#include <chrono>
#include <string>

namespace VX::Backend
{

/// Calls a service that speaks the user-pool protocol. Connections stay open for the next call. Any thread.
class UserPoolClient
{
public:
    /// The endpoint is an HTTPS URL.
    UserPoolClient( std::string endpoint, std::chrono::milliseconds timeout );

    /// The service's answer as it is, or that it cannot be told now. It blocks.
    [[nodiscard]] HttpResponse call( const std::string& operation, const Json::Value& body );

private:
    std::string endpoint_;
    std::chrono::milliseconds timeout_;
    CurlHandles handles_;
};

} // namespace VX::Backend
