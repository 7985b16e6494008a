#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace VX::Backend
{

/// What a line of the log says besides its message.
struct LogField
{
    LogField( const char* fieldName, std::string text )
        : name( fieldName )
        , value( std::move( text ) )
    {
    }
    LogField( const char* fieldName, double number )
        : name( fieldName )
        , value( number )
    {
    }
    template <typename Whole>
        requires std::is_integral_v<Whole>
    LogField( const char* fieldName, Whole number )
        : name( fieldName )
        , value( int64_t( number ) )
    {
    }

    const char* name;
    std::variant<std::string, int64_t, double> value;
};

/// Logs what is of use to programs alone, such as that a request was answered: a line where the log is one of JSON, and
/// nothing where people read it. An empty text is left out. Any thread.
void logEvent( const std::string& message, const std::vector<LogField>& fields );

} // namespace VX::Backend
