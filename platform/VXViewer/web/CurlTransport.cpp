#include <VXViewer/web/CurlTransport.h>

#include <VXViewer/web/CurlTransfer.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace VX
{
namespace
{

constexpr const char* cClosing = "The program is closing";

class CurlTransport final : public WebTransport
{
public:
    CurlTransport()
    {
        static const CURLcode sGlobal = curl_global_init( CURL_GLOBAL_DEFAULT );
        static_cast<void>( sGlobal );
        multi_ = curl_multi_init();
    }

    ~CurlTransport() override
    {
        shutdown( {} );
        curl_multi_cleanup( multi_ );
    }

    void send( WebRequestData request, Done done ) override
    {
        auto transfer = std::make_unique<CurlTransfer>( std::move( request ), std::move( done ) );
        if ( !take_( transfer ) )
            transfer->fail( cClosing );
    }

    void shutdown( std::chrono::milliseconds patience ) override
    {
        {
            const std::lock_guard lock( mutex_ );
            if ( !closing_ )
                deadline_ = std::chrono::steady_clock::now() + patience;
            closing_ = true;
        }
        curl_multi_wakeup( multi_ );
        const std::lock_guard joining( joinMutex_ );
        if ( thread_.joinable() && thread_.get_id() != std::this_thread::get_id() )
            thread_.join();
    }

private:
    /// False, and the transfer stays with the caller, once this is closing.
    bool take_( std::unique_ptr<CurlTransfer>& transfer )
    {
        const std::lock_guard lock( mutex_ );
        if ( closing_ )
            return false;
        waiting_.push_back( std::move( transfer ) );
        if ( !thread_.joinable() )
            thread_ = std::thread( [this] { run_(); } );
        curl_multi_wakeup( multi_ );
        return true;
    }

    void run_()
    {
        bool more = true;
        while ( more )
        {
            startWaiting_();
            int running = 0;
            curl_multi_perform( multi_, &running );
            finishEnded_();
            more = keepGoing_();
            if ( more )
                curl_multi_poll( multi_, nullptr, 0, pollTimeout_(), nullptr );
        }
        for ( auto& [handle, transfer] : running_ )
        {
            curl_multi_remove_handle( multi_, handle );
            transfer->fail( cClosing );
        }
        running_.clear();
    }

    void startWaiting_()
    {
        std::vector<std::unique_ptr<CurlTransfer>> waiting;
        {
            const std::lock_guard lock( mutex_ );
            waiting.swap( waiting_ );
        }
        for ( auto& transfer : waiting )
        {
            const auto handle = transfer->prepare();
            if ( !handle )
                transfer->fail( handle.error() );
            else if ( curl_multi_add_handle( multi_, *handle ) == CURLM_OK )
                running_.emplace( *handle, std::move( transfer ) );
            else
                transfer->fail( "The request cannot be started" );
        }
    }

    void finishEnded_()
    {
        int left = 0;
        while ( const CURLMsg* message = curl_multi_info_read( multi_, &left ) )
        {
            if ( message->msg != CURLMSG_DONE )
                continue;
            const CURLcode result = message->data.result;
            auto node = running_.extract( message->easy_handle );
            curl_multi_remove_handle( multi_, node.key() );
            node.mapped()->finish( result );
        }
    }

    bool keepGoing_()
    {
        const std::lock_guard lock( mutex_ );
        if ( !closing_ )
            return true;
        const bool idle = waiting_.empty() && running_.empty();
        return !idle && ( !waiting_.empty() || std::chrono::steady_clock::now() < deadline_ );
    }

    int pollTimeout_()
    {
        const std::lock_guard lock( mutex_ );
        // A request without traffic still has to notice that its progress callback asks it to stop.
        return closing_ || !running_.empty() ? 100 : 60'000;
    }

    CURLM* multi_ = nullptr;
    std::mutex mutex_;
    std::mutex joinMutex_;
    std::vector<std::unique_ptr<CurlTransfer>> waiting_;
    bool closing_ = false;
    std::chrono::steady_clock::time_point deadline_{};
    std::unordered_map<CURL*, std::unique_ptr<CurlTransfer>> running_;
    std::thread thread_;
};

} // namespace

std::shared_ptr<WebTransport> makeCurlTransport()
{
    return std::make_shared<CurlTransport>();
}

} // namespace VX
