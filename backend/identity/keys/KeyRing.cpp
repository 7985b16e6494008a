#include "identity/keys/KeyRing.h"

#include <spdlog/spdlog.h>

namespace VX::Backend
{

KeyRing::KeyRing(
    std::unique_ptr<KeyStore> store, const IdentityKeys& keys, AccessTokens& tokens, KeyTimes times, Clock clock )
    : store_( std::move( store ) )
    , tokens_( tokens )
    , times_( times )
    , clock_( std::move( clock ) )
    , keys_( keys )
{
}

void KeyRing::take_( const tl::expected<IdentityKeys, std::string>& keys )
{
    if ( !keys )
        return spdlog::error( "The keys of sign-ins stay as they were: {}", keys.error() );
    // All hashes in the database are made with this one.
    if ( keys->codes != keys_.codes )
        return spdlog::error( "{} is of other sign-ins, and will be used from the next start on", store_->name() );
    if ( keys->signing == keys_.signing )
        return;
    keys_ = *keys;
    tokens_.setKeys( keys_.signing );
    spdlog::info( "Tokens are signed by the key {}", keyPairOf( keys_.signing.back().seed ).id );
}

void KeyRing::look()
{
    const std::lock_guard lock( mutex_ );
    const auto stamp = store_->stamp();
    if ( !stamp || *stamp == seen_ )
        return;
    seen_ = *stamp;
    take_( store_->read() );
}

void KeyRing::tend()
{
    look();
    const std::lock_guard lock( mutex_ );
    const auto now = clock_();
    if ( now - keys_.signing.back().since >= times_.renewal )
        take_( rotateSigningKey( *store_, now, times_.renewal ) );
    if ( hasKeysToDrop( keys_, now, times_.overlap ) )
        take_( dropFormerKeys( *store_, now, times_.overlap ) );
}

} // namespace VX::Backend
