#include "ProcessTime.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace VX::App
{

double secondsSinceProcessStart()
{
    // Field 22 of proc(5)'s "stat"; the second field is a name in parentheses that may hold anything.
    std::ifstream file( "/proc/self/stat" );
    std::string text( std::istreambuf_iterator<char>( file ), {} );
    std::istringstream rest( text.substr( std::min( text.rfind( ')' ) + 1, text.size() ) ) );
    std::string word;
    for ( int field = 3; field <= 22; ++field )
        rest >> word;
    timespec now{};
    if ( !rest || clock_gettime( CLOCK_BOOTTIME, &now ) != 0 )
        return -1;
    return double( now.tv_sec ) + double( now.tv_nsec ) * 1e-9 - std::stod( word ) / double( sysconf( _SC_CLK_TCK ) );
}

} // namespace VX::App
