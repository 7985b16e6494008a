#include "http/RequestHead.h"

#include <VXMesh/io/Text.h>

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <algorithm>
#include <charconv>

namespace VX::Backend
{
namespace
{

namespace beast = boost::beast;
namespace http = beast::http;

constexpr unsigned cVersion10 = 10, cVersion11 = 11;

std::string_view view( beast::string_view text )
{
    return { text.data(), text.size() };
}

bool isHostCharacter( char c )
{
    constexpr std::string_view cOthers = "-._~!$&'()*+;=:%[]";
    return ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) ||
           cOthers.find( c ) != std::string_view::npos;
}

bool isHost( std::string_view text )
{
    return std::all_of( text.begin(), text.end(), &isHostCharacter );
}

std::optional<uint64_t> numberIn( std::string_view text )
{
    uint64_t out = 0;
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), out );
    return error == std::errc() && end == text.data() + text.size() ? std::optional( out ) : std::nullopt;
}

/// A line that begins with a blank goes on with the line before it, or does not: readers differ.
bool hasFoldedLine( std::string_view text )
{
    return text.find( "\r\n " ) != std::string_view::npos || text.find( "\r\n\t" ) != std::string_view::npos;
}

bool hasOneHost( const http::request_header<>& header )
{
    const auto count = header.count( http::field::host );
    if ( count == 0 )
        return header.version() == cVersion10;
    return count == 1 && isHost( view( header[http::field::host] ) );
}

/// Where the body ends: false when that is not certain.
bool readFraming( const http::request_header<>& header, RequestHead& out )
{
    const auto codings = header.count( http::field::transfer_encoding );
    const auto lengths = header.count( http::field::content_length );
    if ( codings > 0 )
    {
        out.chunked = codings == 1 && lengths == 0 && header.version() == cVersion11 &&
                      toLower( view( header[http::field::transfer_encoding] ) ) == "chunked";
        return out.chunked;
    }
    if ( lengths == 1 )
        out.length = numberIn( view( header[http::field::content_length] ) );
    return lengths == 0 || out.length.has_value();
}

HttpRequest lineOf( const http::request_header<>& header )
{
    HttpRequest out;
    out.method = std::string( header.method_string() );
    const std::string target( header.target() );
    const auto mark = target.find( '?' );
    out.path = target.substr( 0, mark );
    if ( mark != std::string::npos )
        out.query = target.substr( mark + 1 );
    return out;
}

} // namespace

struct RequestHeadReader::Parser : http::request_parser<http::empty_body>
{
};

RequestHeadReader::RequestHeadReader( size_t mostBytes )
    : parser_( std::make_unique<Parser>() )
    , mostBytes_( mostBytes )
{
    parser_->header_limit( std::uint32_t( mostBytes ) );
    parser_->body_limit( boost::none );
}

RequestHeadReader::~RequestHeadReader() = default;

Reading RequestHeadReader::take( std::string& bytes )
{
    boost::system::error_code ec;
    const size_t taken = parser_->put( boost::asio::buffer( bytes ), ec );
    text_.append( bytes, 0, taken );
    bytes.erase( 0, taken );
    const bool needsMore = ec == http::error::need_more;
    const size_t size = text_.size() + ( needsMore ? bytes.size() : 0 );
    if ( ec == http::error::header_limit || size > mostBytes_ )
        return Reading::TooLarge;
    if ( ec && !needsMore )
        return Reading::Wrong;
    return parser_->is_header_done() ? Reading::Done : Reading::More;
}

std::optional<RequestHead> RequestHeadReader::head() const
{
    const auto& header = parser_->get().base();
    RequestHead out;
    if ( hasFoldedLine( text_ ) || !hasOneHost( header ) || !readFraming( header, out ) )
        return {};
    out.request = lineOf( header );
    for ( const auto& field : header )
    {
        const auto name = toLower( view( field.name_string() ) );
        auto [place, isNew] = out.request.headers.emplace( name, field.value() );
        if ( !isNew )
            place->second += ", " + std::string( field.value() );
    }
    out.keepAlive = parser_->keep_alive();
    out.waitsForContinue = toLower( out.request.header( "expect" ) ) == "100-continue";
    return out;
}

HttpRequest RequestHeadReader::firstLine() const
{
    return lineOf( parser_->get().base() );
}

} // namespace VX::Backend
