#include "storage/s3/S3Listing.h"

#include <pugixml.hpp>

#include <charconv>
#include <ctime>
#include <iomanip>
#include <optional>
#include <sstream>

namespace VX::Backend
{
namespace
{

std::optional<uint64_t> numberOf( const std::string& text )
{
    uint64_t value = 0;
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
    if ( error != std::errc{} || end != text.data() + text.size() )
        return {};
    return value;
}

/// "2026-11-23T08:19:50.000Z", with or without parts of a second.
std::optional<std::chrono::sys_seconds> timeOf( const std::string& text )
{
    std::tm parts{};
    std::istringstream in( text );
    in >> std::get_time( &parts, "%Y-%m-%dT%H:%M:%S" );
    if ( in.fail() || !text.ends_with( 'Z' ) )
        return {};
    return std::chrono::sys_seconds( std::chrono::seconds( ::timegm( &parts ) ) );
}

std::optional<S3Object> objectOf( const pugi::xml_node& node )
{
    const auto size = numberOf( node.child_value( "Size" ) );
    const auto written = timeOf( node.child_value( "LastModified" ) );
    std::string key = node.child_value( "Key" );
    if ( key.empty() || !size || !written )
        return {};
    return S3Object{ std::move( key ), *size, *written };
}

} // namespace

tl::expected<S3Listing, std::string> readListing( const std::string& xml )
{
    pugi::xml_document document;
    const auto read = document.load_buffer( xml.data(), xml.size() );
    const auto root = document.child( "ListBucketResult" );
    if ( !read || !root )
        return tl::unexpected( std::string( "it is no listing" ) );
    S3Listing out;
    for ( const auto& node : root.children( "Contents" ) )
    {
        auto object = objectOf( node );
        if ( !object )
            return tl::unexpected( std::string( "an object has no key, size or time" ) );
        out.objects.push_back( std::move( *object ) );
    }
    out.next = root.child_value( "NextContinuationToken" );
    if ( ( root.child_value( "IsTruncated" ) == std::string( "true" ) ) == out.next.empty() )
        return tl::unexpected( std::string( "it does not tell how it goes on" ) );
    return out;
}

std::string errorCodeOf( const std::string& xml )
{
    pugi::xml_document document;
    document.load_buffer( xml.data(), xml.size() );
    return document.child( "Error" ).child_value( "Code" );
}

} // namespace VX::Backend
