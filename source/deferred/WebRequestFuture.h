#pragma once

#include <VXOrvanta/Export.h>

#include <VXViewer/web/WebRequest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

namespace VX
{

/// A web request on its way, whose response can be probed or waited for; copies share it.
///
/// The response is whatever the framework delivers, failures included. Meant for one waiting thread; destroying it
/// before the response arrives is safe.
class VXORVANTA_API WebRequestFuture
{
public:
    /// Sends the request at once.
    WebRequestFuture( WebRequest request );

    /// The response if it has arrived; never blocks. A frame is drawn when it arrives, so asking once a frame is
    /// enough.
    [[nodiscard]] std::optional<Json::Value> operator()();

    /// Waits for the response, as long as the request's own time-out lets it take. Not for the thread that would
    /// deliver the response.
    [[nodiscard]] Json::Value get();

private:
    struct State
    {
        std::mutex mutex;
        std::condition_variable cv;
        std::optional<Json::Value> response;
    };

    [[nodiscard]] std::optional<Json::Value> execute_( bool nonBlocking );

    std::shared_ptr<State> state_;
};

} // namespace VX
