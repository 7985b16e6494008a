#include "http/HttpSession.h"

#include "http/Awaiting.h"
#include "http/SentFile.h"
#include "http/UploadFile.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace VX::Backend
{
namespace
{

namespace asio = boost::asio;
using std::chrono::milliseconds;

constexpr size_t cPiece = 16 * 1024;
constexpr size_t cFilePiece = size_t( 1 ) << 20;
/// What a body may need besides its own bytes.
constexpr uint64_t cMostFraming = 16 * 1024;
constexpr int cGone = -1;

/// Whether a proxy's name for a request can stand in a log and in a header.
bool isRequestName( const std::string& text )
{
    constexpr size_t cLongest = 64;
    constexpr const char* cLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    return !text.empty() && text.size() <= cLongest && text.find_first_not_of( cLetters ) == std::string::npos;
}

std::string headOf( const HttpResponse& response, uint64_t length, bool keepAlive )
{
    std::string head =
        fmt::format( "HTTP/1.1 {} {}\r\nContent-Type: {}\r\nContent-Length: {}\r\nConnection: {}\r\n", response.status,
            statusText( response.status ), response.contentType, length, keepAlive ? "keep-alive" : "close" );
    for ( const auto& [name, value] : response.headers )
        head += fmt::format( "{}: {}\r\n", name, value );
    return head + "\r\n";
}

} // namespace

HttpSession::HttpSession( HttpConnection& connection, const HttpServerOptions& options, HttpHandler& handler,
    std::string peer, asio::any_io_executor files, BodyRoom& bodies )
    : connection_( connection )
    , options_( options )
    , handler_( handler )
    , peer_( std::move( peer ) )
    , files_( std::move( files ) )
    , body_( bodies )
    , touched_( std::chrono::steady_clock::now() )
{
}

std::optional<HttpSession::Moment> HttpSession::silentSince() const
{
    return working_ ? std::nullopt : std::optional( touched_.load() );
}

asio::awaitable<void> HttpSession::run()
{
    try
    {
        co_await serveAll_();
    }
    catch ( const std::exception& e )
    {
        spdlog::error( "A connection was ended: {}", e.what() );
    }
    catch ( ... )
    {
        spdlog::error( "A connection was ended" );
    }
}

asio::awaitable<void> HttpSession::serveAll_()
{
    expireAfter_( options_.headerPatience );
    bool again = co_await connection_.open();
    while ( again )
        again = co_await serveOne_();
    expireAfter_( milliseconds( 1000 ) );
    co_await connection_.end();
}

void HttpSession::touch_()
{
    touched_ = std::chrono::steady_clock::now();
}

void HttpSession::expireAfter_( milliseconds time )
{
    connection_.expireAt( std::chrono::steady_clock::now() + time );
}

/// Before each part of a body: time to wait, but never so much that a byte now and then holds the connection.
void HttpSession::expireBodyAfter_( Moment begin, uint64_t received )
{
    const auto earned = milliseconds( received * 1000 / std::max<uint64_t>( options_.leastRate, 1 ) );
    const Moment now = std::chrono::steady_clock::now();
    connection_.expireAt(
        std::min( { now + options_.patience, begin + options_.patience + earned, begin + options_.longestBody } ) );
}

asio::awaitable<bool> HttpSession::readSome_()
{
    const size_t before = pending_.size();
    pending_.resize( before + cPiece );
    const size_t count = co_await connection_.read( { pending_.data() + before, cPiece } );
    pending_.resize( before + count );
    exchange_.received += count;
    touch_();
    co_return count > 0;
}

asio::awaitable<bool> HttpSession::write_( std::string_view bytes )
{
    expireAfter_( options_.patience );
    const bool written = co_await connection_.write( bytes );
    exchange_.sent += written ? bytes.size() : 0;
    touch_();
    co_return written;
}

/// Reads and answers one request; false ends the connection.
asio::awaitable<bool> HttpSession::serveOne_()
{
    restart_();
    // A connection may rest between two requests, but a request that has begun must not dawdle.
    if ( pending_.empty() )
    {
        expireAfter_( options_.keepAlive );
        const bool here = co_await readSome_();
        if ( !here )
            co_return false;
    }
    begun_ = std::chrono::steady_clock::now();
    RequestHeadReader reader( options_.maxHeaderSize );
    const bool goesOn = co_await answerHead_( reader );
    const bool told = tellEnd_();
    co_return ( goesOn && told );
}

void HttpSession::restart_()
{
    exchange_ = RequestEnd();
    (void)body_.hold( 0 );
    exchange_.received = pending_.size();
}

bool HttpSession::tellEnd_()
{
    if ( exchange_.status == 0 )
        exchange_.duration = std::chrono::steady_clock::now() - begun_;
    return isCalled( [this] { handler_.ended( exchange_ ); } );
}

asio::awaitable<bool> HttpSession::answerHead_( RequestHeadReader& reader )
{
    const Reading reading = co_await readHead_( reader );
    auto head = take_( reader, reading );
    if ( reading == Reading::More )
        co_return false;
    if ( !head )
        co_return co_await refuseHead_( reader, reading == Reading::TooLarge ? 431 : 400 );
    co_return co_await serve_( std::move( *head ) );
}

std::optional<RequestHead> HttpSession::take_( const RequestHeadReader& reader, Reading reading )
{
    auto head = reading == Reading::Done ? reader.head() : std::nullopt;
    auto line = head ? HttpRequest() : reader.firstLine();
    begin_( head ? head->request : line );
    return head;
}

void HttpSession::begin_( HttpRequest& request )
{
    request.remoteAddress = options_.proxies.clientOf( peer_, request.header( "x-forwarded-for" ) );
    if ( options_.nameRequest )
    {
        const auto given = options_.proxies.trusts( peer_ ) ? request.header( "x-request-id" ) : std::string();
        request.id = isRequestName( given ) ? given : options_.nameRequest();
    }
    exchange_.request.id = request.id;
    exchange_.request.method = request.method;
    exchange_.request.path = request.path;
}

/// `More` when the client has gone.
asio::awaitable<Reading> HttpSession::readHead_( RequestHeadReader& reader )
{
    expireAfter_( options_.headerPatience );
    auto reading = reader.take( pending_ );
    while ( reading == Reading::More )
    {
        const bool more = co_await readSome_();
        if ( !more )
            co_return Reading::More;
        reading = reader.take( pending_ );
    }
    co_return reading;
}

asio::awaitable<bool> HttpSession::refuseHead_( const RequestHeadReader& reader, int status )
{
    const auto line = reader.firstLine();
    HttpResponse response = handler_.refuse( line.path, status );
    co_return co_await send_( std::move( response ), false, line.method == "HEAD" );
}

/// Waits for the handler, which may decide on another thread.
asio::awaitable<BodyPlan> HttpSession::plan_( const HttpRequest& request )
{
    connection_.expireAt( Moment::max() );
    working_ = true;
    const auto ask = [&]( const Planned& planned )
    {
        if ( isCalled( [&] { handler_.plan( request, planned ); } ) )
            return;
        BodyPlan plan;
        plan.refusal = handler_.refuse( request.path, 500 );
        planned( std::move( plan ) );
    };
    BodyPlan plan = co_await answerOf<BodyPlan>( ask );
    touch_();
    working_ = false;
    co_return plan;
}

asio::awaitable<bool> HttpSession::serve_( RequestHead head )
{
    const bool headOnly = head.request.method == "HEAD";
    BodyPlan plan = co_await plan_( head.request );
    if ( !plan.refusal && head.length && *head.length > plan.maxSize )
        plan.refusal = handler_.refuse( head.request.path, 413 );
    if ( plan.refusal )
    {
        HttpResponse refusal = std::move( *plan.refusal );
        co_return co_await refuse_( std::move( refusal ), head );
    }
    if ( head.waitsForContinue )
    {
        const bool sent = co_await write_( "HTTP/1.1 100 Continue\r\n\r\n" );
        if ( !sent )
            co_return false;
    }
    const int failure = co_await readBody_( head, plan );
    if ( failure == cGone )
        co_return false;
    if ( failure > 0 )
    {
        HttpResponse response = handler_.refuse( head.request.path, failure );
        const bool sent = co_await send_( std::move( response ), false, headOnly );
        if ( sent )
            co_await drain_( head.length.value_or( UINT64_MAX ) );
        co_return false;
    }
    const bool keepAlive = head.keepAlive;
    HttpResponse response = co_await answer_( std::move( head.request ) );
    co_return co_await send_( std::move( response ), keepAlive, headOnly );
}

/// A small unread body is swallowed, so that the client sees the answer; any other ends the connection.
asio::awaitable<bool> HttpSession::refuse_( HttpResponse response, const RequestHead& head )
{
    const uint64_t length = head.chunked ? UINT64_MAX : head.length.value_or( 0 );
    const bool swallowed = length <= pending_.size();
    if ( swallowed )
        pending_.erase( 0, size_t( length ) );
    const bool goesOn =
        co_await send_( std::move( response ), head.keepAlive && swallowed, head.request.method == "HEAD" );
    if ( !swallowed )
        co_await drain_( length );
    co_return goesOn;
}

/// 0, the status of a refusal, or `cGone`.
asio::awaitable<int> HttpSession::readBody_( RequestHead& head, const BodyPlan& plan )
{
    if ( plan.file.empty() && head.chunked )
        co_return co_await readChunks_( head, plan );
    if ( plan.file.empty() )
        co_return co_await readToMemory_( head );
    if ( !head.length )
        co_return 411;
    head.request.bodyFile = plan.file;
    co_return co_await readToFile_( *head.length, plan );
}

asio::awaitable<int> HttpSession::readChunks_( RequestHead& head, const BodyPlan& plan )
{
    ChunkedBody chunks( plan.maxSize, plan.maxSize + cMostFraming );
    const Moment begin = std::chrono::steady_clock::now();
    uint64_t received = pending_.size();
    auto reading = chunks.take( pending_, head.request.body );
    while ( reading == Reading::More )
    {
        expireBodyAfter_( begin, received );
        const bool more = co_await readSome_();
        if ( !more )
            co_return cGone;
        received += pending_.size();
        reading = chunks.take( pending_, head.request.body );
        if ( !body_.hold( head.request.body.size() ) )
            co_return 503;
    }
    if ( reading == Reading::TooLarge )
        co_return 413;
    co_return reading == Reading::Done ? 0 : 400;
}

asio::awaitable<int> HttpSession::readToMemory_( RequestHead& head )
{
    const uint64_t length = head.length.value_or( 0 );
    const Moment begin = std::chrono::steady_clock::now();
    while ( pending_.size() < length )
    {
        expireBodyAfter_( begin, pending_.size() );
        const bool more = co_await readSome_();
        if ( !more )
            co_return cGone;
        // What has come behind it already is of the next request.
        if ( !body_.hold( std::min<uint64_t>( pending_.size(), length ) ) )
            co_return 503;
    }
    // What came behind it is short, and the body may be long.
    std::string behind = pending_.substr( size_t( length ) );
    pending_.resize( size_t( length ) );
    head.request.body = std::exchange( pending_, std::move( behind ) );
    co_return 0;
}

/// Past what came with the head, the body goes straight into the file.
asio::awaitable<int> HttpSession::readToFile_( uint64_t length, const BodyPlan& plan )
{
    auto file = co_await doneOn( files_, [&plan] { return std::make_shared<UploadFile>( plan.file ); } );
    const int failure = co_await fill_( *file, length );
    if ( failure == 0 )
        file->keep();
    co_await closed_( std::move( file ) );
    co_return failure;
}

asio::awaitable<int> HttpSession::fill_( const UploadFile& file, uint64_t length )
{
    if ( file.trouble() != 0 )
        co_return statusOfDisk( file.trouble() );
    const size_t early = size_t( std::min<uint64_t>( pending_.size(), length ) );
    int trouble = co_await doneOn( files_, [&] { return file.write( pending_.data(), early ); } );
    pending_.erase( 0, early );
    uint64_t left = length - early;
    std::vector<char> piece( size_t( std::min<uint64_t>( std::max<uint64_t>( left, 1 ), cFilePiece ) ) );
    const Moment begin = std::chrono::steady_clock::now();
    while ( trouble == 0 && left > 0 )
    {
        size_t filled = 0;
        const size_t wanted = size_t( std::min<uint64_t>( left, piece.size() ) );
        while ( filled < wanted )
        {
            expireBodyAfter_( begin, length - left + filled );
            const size_t count = co_await connection_.read( { piece.data() + filled, wanted - filled } );
            if ( count == 0 )
                co_return cGone;
            filled += count;
            exchange_.received += count;
            touch_();
        }
        trouble = co_await doneOn( files_, [&] { return file.write( piece.data(), filled ); } );
        left -= filled;
    }
    co_return trouble == 0 ? 0 : statusOfDisk( trouble );
}

/// Closes a file, and removes one that is not kept, where a disk may take its time.
template <typename File>
asio::awaitable<void> HttpSession::closed_( std::shared_ptr<File> file )
{
    const auto close = [&file]
    {
        file.reset();
        return true;
    };
    (void)co_await doneOn( files_, close );
}

/// Closing with unread bytes resets the connection, and the client may lose the answer that explains why.
asio::awaitable<void> HttpSession::drain_( uint64_t most )
{
    constexpr uint64_t cPatientFor = uint64_t( 16 ) << 20;
    most = std::min( most, cPatientFor );
    pending_.clear();
    expireAfter_( milliseconds( 2000 ) );
    for ( uint64_t read = 0; read < most; pending_.clear() )
    {
        const bool more = co_await readSome_();
        if ( !more )
            co_return;
        read += pending_.size();
    }
}

/// Waits for the handler, which may answer from another thread.
asio::awaitable<HttpResponse> HttpSession::answer_( HttpRequest request )
{
    connection_.expireAt( Moment::max() );
    working_ = true;
    const auto ask = [&]( const Respond& respond )
    {
        const auto path = request.path;
        if ( !isCalled( [&] { handler_.handle( std::move( request ), respond ); } ) )
            respond( handler_.refuse( path, 500 ) );
    };
    HttpResponse response = co_await answerOf<HttpResponse>( ask );
    touch_();
    working_ = false;
    co_return response;
}

asio::awaitable<bool> HttpSession::send_( HttpResponse response, bool keepAlive, bool headOnly )
{
    keepAlive = keepAlive && !response.close;
    exchange_.status = response.status;
    if ( !exchange_.request.id.empty() )
        response.headers["X-Request-Id"] = exchange_.request.id;
    const uint64_t length = response.file.empty() ? response.body.size() : response.fileLength;
    std::string head = headOf( response, length, keepAlive );
    const bool hasFile = !response.file.empty() && !headOnly;
    if ( !hasFile && !headOnly )
        head += response.body;
    bool sent = co_await write_( head );
    if ( sent && hasFile )
        sent = co_await sendFile_( response );
    exchange_.duration = std::chrono::steady_clock::now() - begun_;
    co_return sent&& keepAlive;
}

asio::awaitable<bool> HttpSession::sendFile_( const HttpResponse& response )
{
    auto file = co_await doneOn( files_, [&response] { return std::make_shared<SentFile>( response.file ); } );
    const bool sent = co_await sendPieces_( *file, response );
    co_await closed_( std::move( file ) );
    co_return sent;
}

asio::awaitable<bool> HttpSession::sendPieces_( const SentFile& file, const HttpResponse& response )
{
    std::vector<char> piece( size_t( std::min<uint64_t>( std::max<uint64_t>( response.fileLength, 1 ), cFilePiece ) ) );
    uint64_t offset = response.fileOffset, left = response.fileLength;
    while ( left > 0 )
    {
        const size_t wanted = size_t( std::min<uint64_t>( left, piece.size() ) );
        const size_t n = co_await doneOn( files_, [&] { return file.read( { piece.data(), wanted }, offset ); } );
        if ( n == 0 )
            co_return false;
        const bool written = co_await write_( { piece.data(), n } );
        if ( !written )
            co_return false;
        offset += n;
        left -= n;
    }
    co_return true;
}

} // namespace VX::Backend
