#include <VXViewer/web/WebTransport.h>

#include <VXViewer/web/CurlTransport.h>

#include <mutex>

namespace VX
{
namespace
{

struct Slot
{
    std::mutex mutex;
    std::shared_ptr<WebTransport> transport;
    bool isReal = false;
};

// Never destroyed: answers may still arrive while the process's other statics are going.
Slot& slot()
{
    static auto* sSlot = new Slot;
    return *sSlot;
}

} // namespace

std::shared_ptr<WebTransport> webTransport()
{
    auto& s = slot();
    const std::lock_guard lock( s.mutex );
    if ( !s.transport )
    {
        s.transport = makeCurlTransport();
        s.isReal = true;
    }
    return s.transport;
}

void setWebTransport( std::shared_ptr<WebTransport> transport )
{
    auto& s = slot();
    std::shared_ptr<WebTransport> former;
    {
        const std::lock_guard lock( s.mutex );
        former = std::exchange( s.transport, std::move( transport ) );
        s.isReal = false;
    }
}

void renewWebTransport()
{
    auto& s = slot();
    std::shared_ptr<WebTransport> former; // goes after the lock
    const std::lock_guard lock( s.mutex );
    if ( std::exchange( s.isReal, false ) )
        former = std::exchange( s.transport, nullptr );
}

Json::Value failedWebResponse( const std::string& error )
{
    Json::Value response;
    response["code"] = 0;
    response["error"] = error;
    response["text"] = "";
    return response;
}

} // namespace VX
