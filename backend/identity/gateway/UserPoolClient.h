#pragma once

#include "http/HttpServer.h"

#include <json/value.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace VX::Backend
{

/// Calls a service that speaks the user-pool protocol. Connections stay open for the next call: agreeing on the keys of
/// a new one takes longer than most answers. Any thread.
class UserPoolClient
{
public:
    /// The endpoint is an HTTPS URL.
    UserPoolClient( std::string endpoint, std::chrono::milliseconds timeout );
    ~UserPoolClient();
    UserPoolClient( const UserPoolClient& ) = delete;
    UserPoolClient& operator=( const UserPoolClient& ) = delete;

    /// The service's answer as it is, or that it cannot be told now. It blocks.
    [[nodiscard]] HttpResponse call( const std::string& operation, const Json::Value& body );

private:
    class Handle;
    [[nodiscard]] std::unique_ptr<Handle> take_();
    void giveBack_( std::unique_ptr<Handle> handle );

    std::string endpoint_;
    std::chrono::milliseconds timeout_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Handle>> idle_;
};

} // namespace VX::Backend
