/// Feeds any bytes to the readers of the user's settings and of the stored sign-in.
#include "Scratch.h"

#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/CredentialRules.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

#include <spdlog/spdlog.h>

namespace
{

using namespace VX;

/// Both files stand where a user's would.
const Fuzz::Scratch& home()
{
    static const Fuzz::Scratch sHome;
    static const bool sReady = []
    {
        spdlog::set_level( spdlog::level::off );
        ::setenv( "XDG_CONFIG_HOME", sHome.path().c_str(), 1 );
        std::filesystem::create_directories( getUserConfigDir() / "Token" );
        return true;
    }();
    (void)sReady;
    return sHome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    home();
    const auto bytes = Fuzz::text( data, size );
    for ( const auto& file : { getUserConfigDir() / "config.json", getUserConfigDir() / "Token" / ".token" } )
        std::ofstream( file, std::ios::binary ).write( bytes.data(), std::streamsize( bytes.size() ) );
    (void)loadAuthToken();
    auto& config = Config::instance();
    config.reload();
    (void)config.getBool( "autoClose" );
    (void)config.getJsonValue( "recentFiles" );
    (void)isEmailAddress( bytes );
    (void)brokenPasswordRules( bytes );
    return 0;
}
