#include "PointText.h"

#include "PlyVertices.h"

#include <array>
#include <charconv>

namespace VX
{
namespace
{

constexpr std::string_view cBlanks = " \t\r";

size_t skipBlanks( std::string_view text, size_t at )
{
    return std::min( text.find_first_not_of( cBlanks, at ), text.size() );
}

bool isEmptyOrComment( std::string_view line )
{
    const size_t at = skipBlanks( line, 0 );
    return at == line.size() || line[at] == '#';
}

/// Where the next number ends; `npos` when there is none.
size_t readNumber( std::string_view text, size_t at, double& out )
{
    at = skipBlanks( text, at );
    if ( at < text.size() && text[at] == '+' )
        ++at;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars( text.data() + at, end, out );
    const bool whole = rest == end || cBlanks.find( *rest ) != cBlanks.npos;
    return error == std::errc{} && whole ? size_t( rest - text.data() ) : std::string_view::npos;
}

/// Points of an OFF file: after its first word and three counts.
std::optional<PointText> offText( std::string_view text )
{
    std::array<double, 3> counts{};
    size_t read = 0;
    bool named = false;
    for ( size_t begin = 0; begin < text.size(); )
    {
        const size_t end = std::min( text.find( '\n', begin ), text.size() );
        const auto line = text.substr( begin, end - begin );
        begin = end + 1;
        if ( isEmptyOrComment( line ) )
            continue;
        size_t at = skipBlanks( line, 0 );
        if ( !named )
        {
            const size_t wordEnd = std::min( line.find_first_of( cBlanks, at ), line.size() );
            const auto word = line.substr( at, wordEnd - at );
            if ( word != "OFF" && word != "COFF" && word != "NOFF" && word != "CNOFF" )
                return {};
            named = true;
            at = wordEnd;
        }
        while ( read < counts.size() && skipBlanks( line, at ) < line.size() )
            if ( at = readNumber( line, at, counts[read++] ); at == line.npos )
                return {};
        if ( read == counts.size() )
            return PointText( text, begin, counts[0] > 0 && counts[0] < 1e10 ? size_t( counts[0] ) : 0 );
    }
    return {};
}

} // namespace

PointText::PointText( std::string_view text, std::string_view word )
    : text_( text )
    , word_( word )
{
}

PointText::PointText( std::string_view text, size_t begin, size_t count )
    : text_( text )
    , at_( begin )
    , left_( count )
{
}

/// Where a line's numbers begin; `npos` when it is no line of a point.
size_t PointText::numbersIn_( std::string_view line ) const
{
    if ( word_.empty() )
        return isEmptyOrComment( line ) ? line.npos : 0;
    const size_t at = skipBlanks( line, 0 ), end = at + word_.size();
    const bool begins = end < line.size() && line.substr( at ).starts_with( word_ );
    return begins && cBlanks.find( line[end] ) != cBlanks.npos ? end : line.npos;
}

std::optional<PointText::Point> PointText::pointAt_( size_t begin, size_t end )
{
    const auto line = text_.substr( 0, end );
    std::array<double, 5> numbers{};
    std::array<size_t, 5> ends{};
    size_t count = 0;
    for ( size_t at = begin; count < numbers.size() && skipBlanks( line, at ) < line.size(); ++count )
        if ( at = ends[count] = readNumber( line, at, numbers[count] ); at == line.npos )
            break;
    // A fourth number alone divides the others.
    if ( count < 3 || ( count == 4 && !word_.empty() && numbers[3] != 1 ) )
    {
        strange_ = true;
        return {};
    }
    return Point{ skipBlanks( line, begin ), ends[2], { numbers[0], numbers[1], numbers[2] } };
}

std::optional<PointText::Point> PointText::next()
{
    while ( at_ < text_.size() && left_ > 0 && !strange_ )
    {
        const size_t begin = at_, end = std::min( text_.find( '\n', at_ ), text_.size() );
        at_ = end + 1;
        const size_t numbers = numbersIn_( text_.substr( begin, end - begin ) );
        if ( numbers == std::string_view::npos )
            continue;
        if ( left_ != SIZE_MAX )
            --left_;
        return pointAt_( begin + numbers, end );
    }
    return {};
}

std::optional<PointText> pointTextOf( std::string_view text, std::string_view extension )
{
    if ( extension == ".obj" )
        return PointText( text, "v" );
    if ( extension == ".stl" && text.starts_with( "solid" ) )
        return PointText( text, "vertex" );
    if ( extension == ".off" )
        return offText( text );
    const auto ply = extension == ".ply" ? PlyVertices::parse( text ) : std::nullopt;
    if ( ply && ply->isText && ply->x == 0 && ply->y == 1 && ply->z == 2 )
        return PointText( text, ply->begin, ply->count );
    return {};
}

} // namespace VX
