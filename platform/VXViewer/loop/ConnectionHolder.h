#pragma once

#include <VXViewer/Export.h>

#include <boost/signals2/connection.hpp>

#include <vector>

namespace VX
{

/// Holds the connections of a listener; they end with it. A class with several listener bases has one holder.
class VXVIEWER_API ConnectionHolder
{
public:
    ConnectionHolder() = default;
    virtual ~ConnectionHolder() = default;
    ConnectionHolder( const ConnectionHolder& ) = delete;
    ConnectionHolder& operator=( const ConnectionHolder& ) = delete;

    /// Hears nothing any more, until it is connected again.
    void disconnect() { connections_.clear(); }

protected:
    void hold_( boost::signals2::connection connection ) { connections_.emplace_back( std::move( connection ) ); }

private:
    std::vector<boost::signals2::scoped_connection> connections_;
};

} // namespace VX
