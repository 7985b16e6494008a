#include "support/service/ExposedFigures.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <sstream>
#include <vector>

namespace VX::Testing
{
namespace
{

using Failure = tl::unexpected<std::string>;

constexpr const char* cFirst = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_:";
const std::string cRest = std::string( cFirst ) + "0123456789";

bool isName( const std::string& text )
{
    return !text.empty() && std::string( cFirst ).find( text[0] ) != std::string::npos &&
           text.find_first_not_of( cRest ) == std::string::npos;
}

bool readNumber( const std::string& text, double& out )
{
    if ( text == "+Inf" )
    {
        out = std::numeric_limits<double>::infinity();
        return true;
    }
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), out );
    return error == std::errc() && end == text.data() + text.size();
}

struct Sample
{
    std::string name;
    std::vector<std::pair<std::string, std::string>> labels;
    double value = 0;

    /// With all labels but one.
    [[nodiscard]] std::string key( const std::string& without = {} ) const
    {
        std::string out;
        for ( const auto& [label, text] : labels )
            if ( label != without )
                out += ( out.empty() ? "" : "," ) + label + "=\"" + text + "\"";
        return out;
    }
};

/// `label="text"`, from a place on; false when there is none.
bool readLabel( const std::string& line, size_t& at, Sample& out )
{
    const auto equals = line.find( "=\"", at );
    if ( equals == std::string::npos || !isName( line.substr( at, equals - at ) ) )
        return false;
    std::string text;
    for ( size_t i = equals + 2; i < line.size(); ++i )
    {
        if ( line[i] == '"' )
        {
            out.labels.emplace_back( line.substr( at, equals - at ), text );
            at = i + 1;
            return true;
        }
        text += line[i];
        if ( line[i] == '\\' && i + 1 < line.size() )
        {
            ++i;
            if ( line[i] != '\\' && line[i] != '"' && line[i] != 'n' )
                return false;
            text += line[i];
        }
    }
    return false;
}

bool readSample( const std::string& line, Sample& out )
{
    size_t at = line.find_first_of( "{ " );
    if ( at == std::string::npos )
        return false;
    out.name = line.substr( 0, at );
    if ( line[at] == '{' )
    {
        do
            if ( !readLabel( line, ++at, out ) )
                return false;
        while ( at < line.size() && line[at] == ',' );
        if ( at >= line.size() || line[at] != '}' )
            return false;
        ++at;
    }
    return isName( out.name ) && at < line.size() && line[at] == ' ' && readNumber( line.substr( at + 1 ), out.value );
}

/// What is wrong with a histogram; empty when nothing is.
std::string faultOf( const std::string& name, const std::vector<Sample>& samples )
{
    struct One
    {
        double last = -1, least = -std::numeric_limits<double>::infinity(), count = -1;
        bool summed = false;
    };
    std::map<std::string, One> all;
    for ( const auto& sample : samples )
    {
        auto& one = all[sample.key( "le" )];
        if ( sample.name == name + "_sum" )
            one.summed = sample.value >= 0;
        else if ( sample.name == name + "_count" )
            one.count = sample.value;
        else if ( double bound = 0; sample.labels.empty() || sample.labels.back().first != "le" ||
                                    !readNumber( sample.labels.back().second, bound ) || bound <= one.least ||
                                    sample.value < one.last )
            return "the classes of " + name + " do not rise";
        else
        {
            one.least = bound;
            one.last = sample.value;
        }
    }
    for ( const auto& [labels, one] : all )
        if ( !one.summed || !std::isinf( one.least ) || one.count != one.last )
            return name + " has no end, no sum or another count";
    return {};
}

class Reader
{
public:
    /// What is wrong with a line; empty when nothing is.
    std::string take( const std::string& line )
    {
        std::istringstream words( line );
        std::string mark, what, name;
        if ( line.starts_with( "# HELP " ) )
        {
            words >> mark >> what >> name;
            if ( !isName( name ) || out.families.contains( name ) )
                return "HELP of " + name;
            auto fault = end();
            begin_( name );
            return fault;
        }
        if ( line.starts_with( "# TYPE " ) )
        {
            auto& family = out.families[name_];
            words >> mark >> what >> name >> family.type;
            const bool known = family.type == "counter" || family.type == "gauge" || family.type == "histogram";
            return name == name_ && !typed_ && known ? ( typed_ = true, "" ) : "TYPE of " + name;
        }
        Sample sample;
        if ( line.starts_with( '#' ) || !readSample( line, sample ) || !typed_ )
            return "no sample: " + line;
        return add_( sample );
    }
    /// What is wrong with the family that ends here.
    std::string end()
    {
        if ( name_.empty() )
            return {};
        const auto& type = out.families[name_].type;
        if ( ( type == "counter" ) != name_.ends_with( "_total" ) )
            return name_ + " is misnamed";
        return type == "histogram" ? faultOf( name_, samples_ ) : std::string();
    }
    ExposedFigures out;

private:
    void begin_( const std::string& name )
    {
        name_ = name;
        typed_ = false;
        samples_.clear();
        out.families[name];
    }
    std::string add_( const Sample& sample )
    {
        auto& family = out.families[name_];
        const bool part =
            family.type == "histogram" &&
            ( sample.name == name_ + "_bucket" || sample.name == name_ + "_sum" || sample.name == name_ + "_count" );
        if ( !part && ( sample.name != name_ || family.type == "histogram" ) )
            return sample.name + " stands below " + name_;
        samples_.push_back( sample );
        const auto labels = sample.key();
        const auto key = sample.name + ( labels.empty() ? "" : "{" + labels + "}" );
        return family.samples.emplace( key, sample.value ).second ? "" : key + " stands twice";
    }

    std::string name_;
    bool typed_ = false;
    std::vector<Sample> samples_;
};

} // namespace

double ExposedFigures::of( const std::string& sample ) const
{
    for ( const auto& [name, family] : families )
        if ( const auto found = family.samples.find( sample ); found != family.samples.end() )
            return found->second;
    return std::numeric_limits<double>::quiet_NaN();
}

tl::expected<ExposedFigures, std::string> ExposedFigures::read( const std::string& text )
{
    if ( !text.ends_with( '\n' ) )
        return Failure( "the last line has no end" );
    Reader reader;
    std::istringstream lines( text );
    for ( std::string line; std::getline( lines, line ); )
        if ( const auto fault = reader.take( line ); !fault.empty() )
            return Failure( fault );
    if ( const auto fault = reader.end(); !fault.empty() )
        return Failure( fault );
    return reader.out;
}

} // namespace VX::Testing
