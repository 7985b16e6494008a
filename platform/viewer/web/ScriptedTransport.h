#pragma once

#include <VXViewer/web/WebTransport.h>

#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace VX
{

/// Answers requests from a script instead of the network, for tests.
///
/// An answer is a response value; its optional member "file" is written to the request's output path. Requests without
/// an answer wait until one is given by `deliver`. Any thread.
class VXVIEWER_API ScriptedTransport final : public WebTransport
{
public:
    using Script = std::function<std::optional<Json::Value>( const WebRequestData& request )>;

    explicit ScriptedTransport( Script script = {} )
        : script_( std::move( script ) )
    {
    }

    void send( WebRequestData request, Done done ) override;
    void shutdown( std::chrono::milliseconds patience ) override;

    /// Answers the oldest request that waits; false when none does.
    bool deliver( Json::Value response );
    /// Everything that was sent, in order.
    [[nodiscard]] std::vector<WebRequestData> sent() const;

    [[nodiscard]] static Json::Value response( int code, const std::string& text, const std::string& error = {} );

private:
    Script script_;
    mutable std::mutex mutex_;
    std::vector<WebRequestData> sent_;
    std::deque<std::pair<WebRequestData, Done>> waiting_;
    bool closed_ = false;
};

} // namespace VX
