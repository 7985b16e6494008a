#include "http/ChunkedBody.h"

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr int cMostDigits = 15;

int hexDigit( char c )
{
    if ( c >= '0' && c <= '9' )
        return c - '0';
    if ( c >= 'a' && c <= 'f' )
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool isControl( char c )
{
    return ( static_cast<unsigned char>( c ) < ' ' && c != '\t' ) || c == 0x7f;
}

} // namespace

ChunkedBody::ChunkedBody( uint64_t mostBody, uint64_t mostInAll )
    : mostBody_( mostBody )
    , mostInAll_( mostInAll )
{
}

Reading ChunkedBody::take( std::string& bytes, std::string& body )
{
    size_t at = 0;
    auto state = Reading::More;
    while ( at < bytes.size() && state == Reading::More )
    {
        const size_t taken = part_ == Part::Data ? takeData_( bytes, at, body ) : 1;
        if ( part_ != Part::Data )
            state = takeOne_( bytes[at] );
        else if ( ( left_ -= taken ) == 0 )
            part_ = Part::DataReturn;
        at += taken;
        inAll_ += taken;
        if ( inAll_ > mostInAll_ )
            state = Reading::TooLarge;
    }
    bytes.erase( 0, at );
    return state;
}

size_t ChunkedBody::takeData_( const std::string& bytes, size_t at, std::string& body )
{
    const size_t count = size_t( std::min<uint64_t>( left_, bytes.size() - at ) );
    body.append( bytes, at, count );
    return count;
}

Reading ChunkedBody::takeOne_( char c )
{
    const auto expect = [&]( char wanted, Part next )
    {
        part_ = next;
        return c == wanted ? Reading::More : Reading::Wrong;
    };
    switch ( part_ )
    {
    case Part::Size:
        return takeSize_( c );
    case Part::Extension:
        if ( c == '\r' )
            part_ = Part::SizeEnd;
        return c != '\r' && isControl( c ) ? Reading::Wrong : Reading::More;
    case Part::SizeEnd:
        body_ += left_;
        if ( body_ > mostBody_ )
            return Reading::TooLarge;
        digits_ = 0;
        return expect( '\n', left_ > 0 ? Part::Data : Part::LastReturn );
    case Part::DataReturn:
        return expect( '\r', Part::DataEnd );
    case Part::DataEnd:
        return expect( '\n', Part::Size );
    case Part::LastReturn:
        return expect( '\r', Part::LastEnd );
    default:
        return c == '\n' ? Reading::Done : Reading::Wrong;
    }
}

Reading ChunkedBody::takeSize_( char c )
{
    if ( const int digit = hexDigit( c ); digit >= 0 )
    {
        left_ = left_ * 16 + uint64_t( digit );
        return ++digits_ <= cMostDigits ? Reading::More : Reading::Wrong;
    }
    if ( digits_ == 0 || ( c != '\r' && c != ';' && c != ' ' && c != '\t' ) )
        return Reading::Wrong;
    part_ = c == '\r' ? Part::SizeEnd : Part::Extension;
    return Reading::More;
}

} // namespace VX::Backend
