#pragma once

#include "http/connection/HttpConnection.h"

#include <string>

namespace VX::Backend
{

/// A client at the other end of a socket. On the strand of that, but for `cut`.
class ClientConnection : public HttpConnection
{
public:
    /// Address at the other end; empty when it has gone already.
    [[nodiscard]] virtual std::string peer() const = 0;
    /// Ends every wait and the connection, soon. Any thread.
    virtual void cut() = 0;
};

} // namespace VX::Backend
