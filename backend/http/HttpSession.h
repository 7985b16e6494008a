#pragma once

#include "http/BodyRoom.h"
#include "http/HttpServer.h"
#include "http/RequestHead.h"
#include "http/connection/HttpConnection.h"

#include <boost/asio/any_io_executor.hpp>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

namespace VX::Backend
{

class SentFile;
class UploadFile;

/// The requests of one connection, one after the other, and their answers. Whatever the client sends or the handler
/// throws ends this connection at most.
class HttpSession
{
public:
    using Moment = HttpConnection::Moment;

    /// All that is referred to must outlive the session; `peer` is the address at the other end. Files are written and
    /// read where `files` runs things; bodies in memory share their room with those of all other sessions.
    HttpSession( HttpConnection& connection, const HttpServerOptions& options, HttpHandler& handler, std::string peer,
        boost::asio::any_io_executor files, BodyRoom& bodies );

    /// Serves until one of both ends the connection.
    [[nodiscard]] boost::asio::awaitable<void> run();

    /// Since when nothing has gone to the client or come from it; nothing while it waits for us. Any thread.
    [[nodiscard]] std::optional<Moment> silentSince() const;

private:
    [[nodiscard]] boost::asio::awaitable<void> serveAll_();
    [[nodiscard]] boost::asio::awaitable<bool> serveOne_();
    [[nodiscard]] boost::asio::awaitable<bool> answerHead_( RequestHeadReader& reader );
    void restart_();
    /// Tells the handler how the request went; false when it cannot be told.
    [[nodiscard]] bool tellEnd_();
    /// What a head says, once the request has its name.
    [[nodiscard]] std::optional<RequestHead> take_( const RequestHeadReader& reader, Reading reading );
    /// Gives the request its name, and knows from then on what it is.
    void begin_( HttpRequest& request );
    [[nodiscard]] boost::asio::awaitable<Reading> readHead_( RequestHeadReader& reader );
    [[nodiscard]] boost::asio::awaitable<bool> refuseHead_( const RequestHeadReader& reader, int status );
    [[nodiscard]] boost::asio::awaitable<bool> serve_( RequestHead head );
    [[nodiscard]] boost::asio::awaitable<bool> refuse_( HttpResponse response, const RequestHead& head );

    [[nodiscard]] boost::asio::awaitable<int> readBody_( RequestHead& head, const BodyPlan& plan );
    [[nodiscard]] boost::asio::awaitable<int> readChunks_( RequestHead& head, const BodyPlan& plan );
    [[nodiscard]] boost::asio::awaitable<int> readToMemory_( RequestHead& head );
    [[nodiscard]] boost::asio::awaitable<int> readToFile_( uint64_t length, const BodyPlan& plan );
    [[nodiscard]] boost::asio::awaitable<int> fill_( const UploadFile& file, uint64_t length );
    template <typename File>
    [[nodiscard]] boost::asio::awaitable<void> closed_( std::shared_ptr<File> file );
    [[nodiscard]] boost::asio::awaitable<void> drain_( uint64_t most );

    [[nodiscard]] boost::asio::awaitable<BodyPlan> plan_( const HttpRequest& request );
    [[nodiscard]] boost::asio::awaitable<HttpResponse> answer_( HttpRequest request );
    [[nodiscard]] boost::asio::awaitable<bool> send_( HttpResponse response, bool keepAlive, bool headOnly );
    [[nodiscard]] boost::asio::awaitable<bool> sendFile_( const HttpResponse& response );
    [[nodiscard]] boost::asio::awaitable<bool> sendPieces_( const SentFile& file, const HttpResponse& response );

    [[nodiscard]] boost::asio::awaitable<bool> readSome_();
    [[nodiscard]] boost::asio::awaitable<bool> write_( std::string_view bytes );
    void expireAfter_( std::chrono::milliseconds time );
    void expireBodyAfter_( Moment begin, uint64_t received );
    void touch_();

    HttpConnection& connection_;
    const HttpServerOptions& options_;
    HttpHandler& handler_;
    std::string peer_;
    boost::asio::any_io_executor files_;
    /// What the request under way has in memory.
    BodyRoom::Share body_;
    /// What has come and is not looked at yet; never more than one piece and the head it belongs to.
    std::string pending_;
    /// The request under way.
    RequestEnd exchange_;
    Moment begun_;
    std::atomic<Moment> touched_;
    std::atomic<bool> working_ = false;
};

} // namespace VX::Backend
