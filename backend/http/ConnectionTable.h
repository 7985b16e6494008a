#pragma once

#include "http/HttpSession.h"
#include "http/connection/ClientConnection.h"

#include <memory>
#include <mutex>
#include <unordered_set>

namespace VX::Backend
{

/// A connection and what is said on it.
struct ServedConnection
{
    ServedConnection( const std::shared_ptr<ClientConnection>& client, const HttpServerOptions& options,
        HttpHandler& handler, boost::asio::any_io_executor files, BodyRoom& bodies )
        : connection( client )
        , session( *client, options, handler, client->peer(), std::move( files ), bodies )
    {
    }

    std::shared_ptr<ClientConnection> connection;
    HttpSession session;
    bool isCut = false; ///< guarded by the table
};

/// All connections of a server, never more than a limit. Any thread.
class ConnectionTable
{
public:
    explicit ConnectionTable( size_t most )
        : most_( most )
    {
    }

    /// Enters a connection. When there are too many, the one that has been silent for the longest is cut; false when
    /// every other one waits for an answer.
    [[nodiscard]] bool add( ServedConnection& connection );
    void remove( ServedConnection& connection );
    /// Those that are open.
    [[nodiscard]] size_t size() const;

private:
    [[nodiscard]] ServedConnection* mostSilent_() const;

    size_t most_;
    mutable std::mutex mutex_;
    std::unordered_set<ServedConnection*> open_;
    size_t cut_ = 0; ///< of those
};

} // namespace VX::Backend
