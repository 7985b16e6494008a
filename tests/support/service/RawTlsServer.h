#pragma once

#include "support/ScratchFolder.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct ssl_ctx_st;

namespace VX::Testing
{

/// What a rude server does with one request.
struct RawReply
{
    /// Sent as it stands.
    std::string bytes;
    /// Ends the connection after it; else it stays open for the next request.
    bool close = false;
    /// Answers nothing more and holds the connection until the server goes.
    bool hang = false;
    /// Ends TLS before the connection, as it should be done.
    bool goodbye = false;
};

/// A TLS server that says exactly what a test tells it to and keeps the bytes it was sent. Trusted by this process.
class RawTlsServer
{
public:
    using Script = std::function<RawReply( const std::string& request )>;

    explicit RawTlsServer( Script script );
    ~RawTlsServer();
    RawTlsServer( const RawTlsServer& ) = delete;
    RawTlsServer& operator=( const RawTlsServer& ) = delete;

    /// Requests as they came, head and body.
    [[nodiscard]] std::vector<std::string> requests() const;
    /// How many connections were made to it.
    [[nodiscard]] size_t connections() const;

    /// A whole answer with a body.
    [[nodiscard]] static RawReply answer( const std::string& body, const std::string& status = "200 OK" );
    [[nodiscard]] static std::string url( const std::string& path );

private:
    void accept_();
    void serve_( int socket );

    ScratchFolder folder_;
    Script script_;
    ssl_ctx_st* context_ = nullptr;
    int listener_ = -1;
    std::atomic<bool> stopping_{ false };
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::vector<std::thread> threads_;
    std::vector<int> sockets_;
};

} // namespace VX::Testing
