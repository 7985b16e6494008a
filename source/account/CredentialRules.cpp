#include <VXOrvanta/account/CredentialRules.h>

#include <algorithm>

namespace VX
{
namespace
{

bool isLowercase( char c )
{
    return c >= 'a' && c <= 'z';
}

bool isDigit( char c )
{
    return c >= '0' && c <= '9';
}

bool isWordCharacter( char c )
{
    return isLowercase( c ) || ( c >= 'A' && c <= 'Z' ) || isDigit( c ) || c == '_';
}

bool isSpecial( char c )
{
    constexpr std::string_view cSpecial = "^$*.[]{}()?-\"!@#%&/,><':;|_~`";
    return cSpecial.find( c ) != std::string_view::npos;
}

bool isAddressPart( std::string_view text )
{
    return !text.empty() && text.find_first_of( " @\\/" ) == std::string_view::npos;
}

} // namespace

bool isEmailAddress( std::string_view text )
{
    const auto at = text.find( '@' );
    const auto dot = text.rfind( '.' );
    if ( at == std::string_view::npos || dot == std::string_view::npos || dot < at )
        return false;
    const auto top = text.substr( dot + 1 );
    return isAddressPart( text.substr( 0, at ) ) && isAddressPart( text.substr( at + 1, dot - at - 1 ) ) &&
           !top.empty() && std::all_of( top.begin(), top.end(), isWordCharacter );
}

int brokenPasswordRules( std::string_view password )
{
    constexpr size_t cLeast = 8, cMost = 99;
    if ( password.find_first_of( "\r\n" ) != std::string_view::npos )
        return PasswordLength | PasswordLowercase | PasswordNumber | PasswordSpecial;
    int broken = 0;
    if ( password.size() < cLeast || password.size() > cMost )
        broken |= PasswordLength;
    if ( std::none_of( password.begin(), password.end(), isLowercase ) )
        broken |= PasswordLowercase;
    if ( std::none_of( password.begin(), password.end(), isDigit ) )
        broken |= PasswordNumber;
    if ( std::none_of( password.begin(), password.end(), isSpecial ) )
        broken |= PasswordSpecial;
    return broken;
}

} // namespace VX
