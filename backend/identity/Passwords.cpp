#include "identity/Passwords.h"

#include "crypto/Hex.h"

#include <sodium.h>

#include <algorithm>

namespace VX::Backend
{

std::string hashPassword( const std::string& password )
{
    std::string out( crypto_pwhash_STRBYTES, '\0' );
    if ( crypto_pwhash_str( out.data(), password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
             crypto_pwhash_MEMLIMIT_INTERACTIVE ) != 0 )
        return {};
    out.resize( out.find( '\0' ) );
    return out;
}

bool isPasswordOf( const std::string& hash, const std::string& password )
{
    static const std::string sNobody = hashPassword( randomPassword() );
    const bool known = !hash.empty();
    return crypto_pwhash_str_verify( known ? hash.c_str() : sNobody.c_str(), password.data(), password.size() ) == 0 &&
           known;
}

std::string passwordProblem( const std::string& password )
{
    constexpr size_t cLeast = 8, cMost = 99;
    constexpr std::string_view cSymbols = "^$*.[]{}()?-\"!@#%&/,><':;|_~`";
    const auto has = [&]( auto is ) { return std::any_of( password.begin(), password.end(), is ); };
    if ( has( []( unsigned char c ) { return c < ' ' || c == 0x7f; } ) )
        return "Password must not have control characters";
    if ( password.size() < cLeast )
        return "Password not long enough";
    if ( password.size() > cMost )
        return "Password too long";
    if ( !has( []( char c ) { return c >= 'a' && c <= 'z'; } ) )
        return "Password must have lowercase characters";
    if ( !has( []( char c ) { return c >= '0' && c <= '9'; } ) )
        return "Password must have numeric characters";
    if ( !has( [&]( char c ) { return cSymbols.find( c ) != std::string_view::npos; } ) )
        return "Password must have symbol characters";
    return {};
}

std::string randomPassword()
{
    // Whatever the random part is made of, the fixed one keeps every rule.
    return randomHex( 12 ) + "-a1";
}

} // namespace VX::Backend
