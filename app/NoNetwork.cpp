#include "NoNetwork.h"

#include <VXViewer/web/WebTransport.h>

namespace VX::App
{
namespace
{

class NoTransport final : public WebTransport
{
public:
    void send( WebRequestData, Done done ) override
    {
        done( failedWebResponse( "The program was started without a network" ) );
    }
    void shutdown( std::chrono::milliseconds ) override {}
};

} // namespace

void forbidNetwork()
{
    setWebTransport( std::make_shared<NoTransport>() );
}

} // namespace VX::App
