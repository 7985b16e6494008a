#include "metrics/Exposition.h"

#include <fmt/format.h>

#include <cmath>

namespace VX::Backend
{
namespace
{

std::string escaped( const std::string& value )
{
    std::string out;
    for ( const char c : value )
    {
        if ( c == '\\' || c == '"' )
            out += '\\';
        out += c == '\n' ? std::string( "\\n" ) : std::string( 1, c );
    }
    return out;
}

/// Whole numbers without a point, all others so that none of their digits is lost.
std::string numeral( double value )
{
    constexpr double cExact = 9007199254740992.; // of a double
    const bool isWhole = value > -cExact && value < cExact && std::trunc( value ) == value;
    return isWhole ? std::to_string( int64_t( value ) ) : fmt::format( "{}", value );
}

} // namespace

void Exposition::begin_( const std::string& name, const char* type, const std::string& help )
{
    name_ = name;
    text_ += fmt::format( "# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, type );
}

void Exposition::sample_( const std::string& name, const Labels& labels, double value )
{
    std::string list;
    for ( const auto& [label, text] : labels )
        list += fmt::format( "{}{}=\"{}\"", list.empty() ? "" : ",", label, escaped( text ) );
    text_ += list.empty() ? fmt::format( "{} {}\n", name, numeral( value ) )
                          : fmt::format( "{}{{{}}} {}\n", name, list, numeral( value ) );
}

void Exposition::add( double value, const Labels& labels )
{
    sample_( name_, labels, value );
}

void Exposition::add( const Histogram& histogram, const Labels& labels )
{
    const auto counts = histogram.counts();
    const auto& bounds = histogram.bounds();
    uint64_t sum = 0;
    for ( size_t i = 0; i < counts.each.size(); ++i )
    {
        sum += counts.each[i];
        auto all = labels;
        all.emplace_back( "le", i < bounds.size() ? numeral( bounds[i] ) : "+Inf" );
        sample_( name_ + "_bucket", all, double( sum ) );
    }
    sample_( name_ + "_sum", labels, counts.seconds );
    sample_( name_ + "_count", labels, double( sum ) );
}

} // namespace VX::Backend
