#include "identity/keys/KeyRing.h"

#include <spdlog/spdlog.h>

#include <sys/stat.h>

namespace VX::Backend
{

KeyRing::KeyRing(
    std::filesystem::path folder, const IdentityKeys& keys, AccessTokens& tokens, KeyTimes times, Clock clock )
    : folder_( std::move( folder ) )
    , tokens_( tokens )
    , times_( times )
    , clock_( std::move( clock ) )
    , keys_( keys )
    // What was written since the keys were read is still to be seen.
    , seen_{}
{
}

KeyRing::Stamp KeyRing::stampNow_() const
{
    struct stat info{};
    if ( ::stat( identityKeysFile( folder_ ).c_str(), &info ) != 0 )
        return { -1 };
    // Who gives the file to its owner changes it, too: before that it may have been closed to this process.
    return { int64_t( info.st_ino ), int64_t( info.st_size ), int64_t( info.st_ctim.tv_sec ),
        int64_t( info.st_ctim.tv_nsec ) };
}

void KeyRing::take_( const tl::expected<IdentityKeys, std::string>& keys )
{
    if ( !keys )
        return spdlog::error( "The keys of sign-ins stay as they were: {}", keys.error() );
    // All hashes in the database are made with this one.
    if ( keys->codes != keys_.codes )
        return spdlog::error( "\"{}\" is of other sign-ins, and will be used from the next start on",
            identityKeysFile( folder_ ).string() );
    if ( keys->signing == keys_.signing )
        return;
    keys_ = *keys;
    tokens_.setKeys( keys_.signing );
    spdlog::info( "Tokens are signed by the key {}", keyPairOf( keys_.signing.back().seed ).id );
}

void KeyRing::look()
{
    const std::lock_guard lock( mutex_ );
    const auto stamp = stampNow_();
    if ( stamp == seen_ )
        return;
    seen_ = stamp;
    take_( readIdentityKeys( folder_ ) );
}

void KeyRing::tend()
{
    look();
    const std::lock_guard lock( mutex_ );
    const auto now = clock_();
    if ( now - keys_.signing.back().since >= times_.renewal )
        take_( rotateSigningKey( folder_, now ) );
    if ( hasKeysToDrop( keys_, now, times_.overlap ) )
        take_( dropFormerKeys( folder_, now, times_.overlap ) );
}

} // namespace VX::Backend
