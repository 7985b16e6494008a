#include "log/JsonLine.h"

#include <VXMesh/io/Text.h>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <json/writer.h>

namespace VX::Backend
{
namespace
{

/// Bytes that are no UTF-8, and what would steer a terminal, as visible signs.
std::string quoted( const std::string& text )
{
    return Json::valueToQuotedString( visibleText( text ).c_str() );
}

std::string valueOf( const LogField& field )
{
    if ( const auto* text = std::get_if<std::string>( &field.value ) )
        return quoted( *text );
    if ( const auto* whole = std::get_if<int64_t>( &field.value ) )
        return std::to_string( *whole );
    return fmt::format( "{:.6f}", std::get<double>( field.value ) );
}

bool isEmpty( const LogField& field )
{
    const auto* text = std::get_if<std::string>( &field.value );
    return text && text->empty();
}

} // namespace

std::string jsonLine( std::chrono::system_clock::time_point time, const char* level, const std::string& message,
    const std::string& request, const std::vector<LogField>& fields )
{
    using std::chrono::milliseconds;
    const auto whole = std::chrono::floor<std::chrono::seconds>( time );
    const auto rest = std::chrono::duration_cast<milliseconds>( time - whole );
    auto out = fmt::format( R"({{"time":"{:%Y-%m-%dT%H:%M:%S}.{:03}Z","level":"{}","message":{})",
        fmt::gmtime( std::chrono::system_clock::to_time_t( whole ) ), rest.count(), level, quoted( message ) );
    if ( !request.empty() )
        out += fmt::format( R"(,"id":{})", quoted( request ) );
    for ( const auto& field : fields )
        if ( !isEmpty( field ) )
            out += fmt::format( R"(,"{}":{})", field.name, valueOf( field ) );
    return out + "}\n";
}

} // namespace VX::Backend
