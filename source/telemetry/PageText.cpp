#include <VXOrvanta/telemetry/PageText.h>

#include <algorithm>
#include <istream>

namespace VX
{

namespace
{

/// What follows the signs at its beginning.
std::string without( const char* signs, const std::string& line )
{
    return line.substr( std::min( line.find_first_not_of( signs ), line.size() ) );
}

} // namespace

std::vector<PageLine> pageLines( std::istream& text )
{
    using Kind = PageLine::Kind;
    std::vector<PageLine> out;
    for ( std::string line; std::getline( text, line ); )
    {
        std::erase_if( line, []( char c ) { return c == '`' || c == '*'; } );
        if ( line.empty() )
            out.push_back( { Kind::Gap, {} } );
        else if ( line.starts_with( "#" ) )
            out.push_back( { Kind::Heading, without( "# ", line ) } );
        else if ( line.starts_with( "- " ) )
            out.push_back( { Kind::Bullet, line.substr( 2 ) } );
        else if ( !out.empty() && ( out.back().kind == Kind::Text || out.back().kind == Kind::Bullet ) )
            out.back().text += " " + without( " ", line );
        else
            out.push_back( { Kind::Text, line } );
    }
    return out;
}

} // namespace VX
