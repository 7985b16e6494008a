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
    std::shared_ptr<WebTransport> set;
    std::shared_ptr<WebTransport> real; ///< made when it is needed; null while another is set
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
    if ( s.set )
        return s.set;
    if ( !s.real )
        s.real = makeCurlTransport();
    return s.real;
}

void setWebTransport( std::shared_ptr<WebTransport> transport )
{
    auto& s = slot();
    std::shared_ptr<WebTransport> real; // goes after the lock, as the former one that was set does
    const std::lock_guard lock( s.mutex );
    s.set.swap( transport );
    real.swap( s.real );
}

void renewWebTransport()
{
    auto& s = slot();
    std::shared_ptr<WebTransport> former; // goes after the lock
    const std::lock_guard lock( s.mutex );
    former.swap( s.real );
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
