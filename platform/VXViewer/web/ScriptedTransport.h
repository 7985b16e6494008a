#pragma once

#include <VXViewer/web/WebTransport.h>

#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace VX
{

/// Answers requests from a script instead of the network, for tests.
///
/// An answer is a response value; its optional member "file" is written to the request's output path. Its optional
/// member "progress", an array of fractions, is told to the request's progress callbacks before it, and then all of
/// this happens on another thread than `send` was called on, as with the real one. Requests without an answer wait
/// until one is given by `deliver`. Any thread.
class VXVIEWER_API ScriptedTransport final : public WebTransport
{
public:
    using Script = std::function<std::optional<Json::Value>( const WebRequestData& request )>;

    explicit ScriptedTransport( Script script = {} )
        : script_( std::move( script ) )
    {
    }

    ~ScriptedTransport() override;
    ScriptedTransport( const ScriptedTransport& ) = delete;
    ScriptedTransport& operator=( const ScriptedTransport& ) = delete;

    void send( WebRequestData request, Done done ) override;
    void shutdown( std::chrono::milliseconds patience ) override;

    /// Answers the oldest request that waits; false when none does.
    bool deliver( Json::Value response );
    /// Tells a fraction to the progress callbacks of the oldest request that waits, on another thread than the
    /// caller's, and returns what they answered; nothing when none waits. One that wants to stop is answered as
    /// canceled.
    std::optional<bool> reportProgress( float fraction );
    /// Everything that was sent, in order.
    [[nodiscard]] std::vector<WebRequestData> sent() const;

    [[nodiscard]] static Json::Value response( int code, const std::string& text, const std::string& error = {} );

private:
    void answerElsewhere_( WebRequestData request, Done done, Json::Value response );

    Script script_;
    mutable std::mutex mutex_;
    std::vector<WebRequestData> sent_;
    std::deque<std::pair<WebRequestData, Done>> waiting_;
    std::vector<std::thread> threads_;
    bool closed_ = false;
};

} // namespace VX
