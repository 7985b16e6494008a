#include <VXMesh/io/NumberedFiles.h>

#include <VXMesh/io/Path.h>

#include <algorithm>

namespace VX
{
namespace
{

bool isDigit( char c )
{
    return c >= '0' && c <= '9';
}

/// Takes the digits off the beginning; without the zeros before them.
std::string_view takeNumber( std::string_view& text )
{
    size_t end = 0;
    while ( end < text.size() && isDigit( text[end] ) )
        ++end;
    auto out = text.substr( 0, end );
    text.remove_prefix( end );
    out.remove_prefix( std::min( out.find_first_not_of( '0' ), out.size() ) );
    return out;
}

} // namespace

bool comesBefore( std::string_view a, std::string_view b )
{
    const auto wholeA = a, wholeB = b;
    while ( !a.empty() && !b.empty() )
    {
        if ( isDigit( a.front() ) && isDigit( b.front() ) )
        {
            const auto x = takeNumber( a ), y = takeNumber( b );
            if ( x != y )
                return x.size() != y.size() ? x.size() < y.size() : x < y;
            continue;
        }
        if ( a.front() != b.front() )
            return uint8_t( a.front() ) < uint8_t( b.front() );
        a.remove_prefix( 1 );
        b.remove_prefix( 1 );
    }
    if ( a.empty() != b.empty() )
        return a.empty();
    return wholeA < wholeB;
}

std::vector<std::filesystem::path> filesByNumber(
    const std::filesystem::path& folder, const std::function<bool( const std::filesystem::path& )>& isWanted )
{
    std::vector<std::filesystem::path> out;
    std::error_code ec;
    for ( std::filesystem::directory_iterator it( folder, ec ), end; !ec && it != end; it.increment( ec ) )
        if ( std::error_code none; isWanted( it->path() ) && it->is_regular_file( none ) &&
                                   !utf8string( it->path().filename() ).starts_with( '.' ) )
            out.push_back( it->path() );
    std::sort( out.begin(), out.end(), []( const auto& a, const auto& b )
        { return comesBefore( utf8string( a.filename() ), utf8string( b.filename() ) ); } );
    return out;
}

} // namespace VX
