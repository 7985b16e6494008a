#include "identity/RefusalLog.h"

#include "crypto/Hex.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

constexpr int cLinesAMinute = 10;
constexpr size_t cNameDigits = 8;

/// Why a call was refused, for those refusals that tell of somebody who tries; null for all others.
const char* reasonOf( const HttpResponse& answer )
{
    struct Reason
    {
        const char* type;
        const char* message; ///< any, where it is null
        const char* text;
    };
    static constexpr Reason cReasons[] = {
        { "NotAuthorizedException", "Incorrect username or password.", "a password was wrong" },
        { "NotAuthorizedException", "Password attempts exceeded", "an account is locked for a while" },
        { "NotAuthorizedException", "User is disabled.", "a blocked account was tried with its password" },
        { "NotAuthorizedException", "Invalid Refresh Token.", "a refresh token is none of ours" },
        { "CodeMismatchException", nullptr, "a code was wrong" },
        { "ExpiredCodeException", nullptr, "a code was wrong" },
        { "LimitExceededException", nullptr, "a limit is reached" },
        { "TooManyRequestsException", nullptr, "too many are waiting" },
    };
    if ( answer.status == 200 )
        return nullptr;
    const auto body = deserializeJsonValue( answer.body ).value_or( Json::Value() );
    const auto type = textMember( body, "__type" ), message = textMember( body, "message" );
    for ( const auto& reason : cReasons )
        if ( type.ends_with( reason.type ) && ( !reason.message || message == reason.message ) )
            return reason.text;
    return nullptr;
}

/// Whom a call is about; empty where it does not say so.
std::string userOf( const AuthCall& call )
{
    const auto& parameters = call.body["AuthParameters"];
    return toLower(
        parameters.isObject() ? textMember( parameters, "USERNAME" ) : textMember( call.body, "Username" ) );
}

} // namespace

std::string nameInLog( const std::string& text, const std::string& key )
{
    return hex( hmacSha256( key, "log/" + text ) ).substr( 0, cNameDigits );
}

RefusalLog::RefusalLog( std::string key, Clock clock )
    : key_( std::move( key ) )
    , clock_( std::move( clock ) )
{
}

RefusalLog::~RefusalLog()
{
    for ( auto& [reason, minute] : minutes_ )
        writeCounted_( reason.c_str(), minute );
}

void RefusalLog::note( const AuthCall& call, const HttpResponse& answer )
{
    const char* reason = reasonOf( answer );
    if ( !reason )
        return;
    {
        const std::lock_guard lock( mutex_ );
        if ( !mayWrite_( reason ) )
            return;
    }
    const auto user = userOf( call );
    spdlog::warn( "{} was refused: {}{}{}", call.operation, reason,
        user.empty() ? "" : ", account " + nameInLog( user, key_ ),
        call.remoteAddress.empty() ? "" : ", client " + nameInLog( call.remoteAddress, key_ ) );
}

bool RefusalLog::mayWrite_( const char* reason )
{
    constexpr auto cMinute = std::chrono::minutes( 1 );
    const auto now = clock_();
    auto& minute = minutes_[reason];
    // The last is of a clock that was set back.
    if ( now >= minute.end || minute.end > now + cMinute )
    {
        writeCounted_( reason, minute );
        minute = { now + cMinute, 0, 0 };
    }
    if ( minute.lines < cLinesAMinute )
    {
        ++minute.lines;
        return true;
    }
    ++minute.counted;
    return false;
}

void RefusalLog::writeCounted_( const char* reason, Minute& minute )
{
    if ( minute.counted > 0 )
        spdlog::warn( "{} more were refused within a minute: {}", minute.counted, reason );
}

} // namespace VX::Backend
