/// Feeds any bytes to the server as all that a client says on one connection. What it hears must be whole answers, and
/// the same in whatever pieces the bytes come, but that a body which is refused before it has come ends the connection.
#include "Scratch.h"

#include "support/service/MemoryConnection.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <vector>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr uint64_t cMostBody = 300;

/// Takes bodies, refuses paths with a "!" by the head, and puts uploads into a file.
class Echo final : public HttpService
{
public:
    BodyPlan planBody( const HttpRequest& head ) override
    {
        BodyPlan plan;
        plan.maxSize = cMostBody;
        if ( head.method == "PUT" )
            plan.file = scratch_.path() / "upload";
        if ( head.path.find( '!' ) != std::string::npos )
        {
            plan.refusal = HttpResponse{};
            plan.refusal->status = 403;
            plan.refusal->body = "refused";
        }
        return plan;
    }
    void handle( HttpRequest request, Respond respond ) override
    {
        Fuzz::require( request.body.size() <= cMostBody, "no body is longer than allowed" );
        HttpResponse response;
        response.body = std::to_string( request.body.size() );
        respond( std::move( response ) );
    }

private:
    Fuzz::Scratch scratch_;
};

/// Takes one answer off the front of what was heard; its status, or 0 when it is not whole.
int takeAnswer( std::string& heard, bool& last, bool& bare )
{
    const auto end = heard.find( "\r\n\r\n" );
    if ( !heard.starts_with( "HTTP/1.1 " ) || end == std::string::npos )
        return 0;
    const auto head = heard.substr( 0, end + 2 );
    const int status = std::atoi( head.c_str() + 9 );
    const auto mark = head.find( "\r\nContent-Length: " );
    const size_t length = mark == std::string::npos ? 0 : std::strtoull( head.c_str() + mark + 18, nullptr, 10 );
    last = head.find( "\r\nConnection: close\r\n" ) != std::string::npos;
    heard.erase( 0, end + 4 );
    // An answer to HEAD tells the length of what it does not send.
    bare = heard.size() < length || ( length > 0 && heard.starts_with( "HTTP/1.1 " ) );
    if ( !bare )
        heard.erase( 0, length );
    return status;
}

/// The status codes of all answers.
std::vector<int> readAnswers( std::string heard )
{
    std::vector<int> out;
    bool last = false, bare = false;
    while ( !heard.empty() )
    {
        Fuzz::require( !last, "nothing follows the answer that ends a connection" );
        const int status = takeAnswer( heard, last, bare );
        Fuzz::require( status == 100 || status == 200 || ( status >= 400 && status < 500 ) || status == 507,
            "what a client sends is no fault of the server's" );
        Fuzz::require(
            !bare || heard.empty() || heard.starts_with( "HTTP/1.1 " ), "answers stand one after the other" );
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    static Echo sEcho;
    spdlog::set_level( spdlog::level::off );
    const std::string says( Fuzz::text( data, size ) );
    const auto whole = readAnswers( Testing::converse( says, sEcho ) );
    const size_t piece = size == 0 ? 1 : 1 + data[size - 1] % 64;
    const auto pieces = readAnswers( Testing::converse( says, sEcho, {}, piece ) );
    const auto common = std::ptrdiff_t( std::min( whole.size(), pieces.size() ) );
    Fuzz::require( std::equal( whole.begin(), whole.begin() + common, pieces.begin() ), "pieces make no difference" );
    return 0;
}
