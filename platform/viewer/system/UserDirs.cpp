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
    const std::lock_guard lock( sMutex );
    const char* xdg = std::getenv( "XDG_CONFIG_HOME" );
    // The standard says to ignore a relative path.
    const auto base = xdg && *xdg == '/' ? std::filesystem::path( xdg ) : getUserHomeDir() / ".config";
    const auto dir = base / configName();
    std::error_code ec;
    std::filesystem::create_directories( base, ec );
    if ( ::mkdir( dir.c_str(), 0700 ) == 0 )
        ::chmod( dir.c_str(), 0700 );
    return dir;
}

} // namespace VX
