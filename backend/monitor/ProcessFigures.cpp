#include "monitor/ProcessFigures.h"

#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

uint64_t entriesOf( const char* folder )
{
    std::error_code ec;
    uint64_t out = 0;
    for ( std::filesystem::directory_iterator it( folder, ec ), end; !ec && it != end; it.increment( ec ) )
        ++out;
    return out;
}

double secondsOf( const timeval& time )
{
    return double( time.tv_sec ) + double( time.tv_usec ) * 1e-6;
}

} // namespace

ProcessFigures processFigures()
{
    ProcessFigures out;
    std::ifstream( "/proc/self/statm" ) >> out.virtualBytes >> out.residentBytes;
    const auto page = uint64_t( ::sysconf( _SC_PAGESIZE ) );
    out.virtualBytes *= page;
    out.residentBytes *= page;
    // The look itself needs one.
    const auto open = entriesOf( "/proc/self/fd" );
    out.descriptors = open > 0 ? open - 1 : 0;
    out.threads = entriesOf( "/proc/self/task" );
    rlimit limit{};
    if ( ::getrlimit( RLIMIT_NOFILE, &limit ) == 0 )
        out.mostDescriptors = limit.rlim_cur;
    rusage usage{};
    if ( ::getrusage( RUSAGE_SELF, &usage ) == 0 )
        out.cpuSeconds = secondsOf( usage.ru_utime ) + secondsOf( usage.ru_stime );
    return out;
}

} // namespace VX::Backend
