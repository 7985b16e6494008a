#include <VXViewer/system/UserDirs.h>

#include <cstdlib>
#include <mutex>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX
{
namespace
{

std::mutex sMutex;

std::string& configName()
{
    static std::string sName = "VX";
    return sName;
}

/// Our folder in one of the base directories, made for its owner alone where it is missing.
std::filesystem::path privateFolder( const char* variable, const char* belowHome )
{
    const std::lock_guard lock( sMutex );
    const char* xdg = std::getenv( variable );
    // The standard says to ignore a relative path.
    const auto base = xdg && *xdg == '/' ? std::filesystem::path( xdg ) : getUserHomeDir() / belowHome;
    const auto dir = base / configName();
    std::error_code ec;
    std::filesystem::create_directories( base, ec );
    if ( ::mkdir( dir.c_str(), 0700 ) == 0 )
        ::chmod( dir.c_str(), 0700 );
    return dir;
}

} // namespace

void setUserConfigName( std::string name )
{
    const std::lock_guard lock( sMutex );
    configName() = std::move( name );
}

std::filesystem::path getUserHomeDir()
{
    if ( const char* home = std::getenv( "HOME" ); home && *home )
        return home;
    const passwd* user = ::getpwuid( ::getuid() );
    return user && user->pw_dir ? user->pw_dir : "/";
}

std::filesystem::path getUserConfigDir()
{
    return privateFolder( "XDG_CONFIG_HOME", ".config" );
}

std::filesystem::path getUserStateDir()
{
    return privateFolder( "XDG_STATE_HOME", ".local/state" );
}

} // namespace VX
