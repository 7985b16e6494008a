#include <VXMesh/system/SystemInfo.h>

#include <Version.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include <sys/sysinfo.h>
#include <sys/utsname.h>

namespace VX
{
namespace
{

/// The value of the first line "key<separator>value" of a text file, without quotes.
std::string valueInFile( const char* file, const std::string& key, char separator )
{
    std::ifstream in( file );
    for ( std::string line; std::getline( in, line ); )
    {
        if ( !line.starts_with( key ) )
            continue;
        auto value = line.substr( std::min( line.find( separator ) + 1, line.size() ) );
        std::erase( value, '"' );
        value.erase( 0, value.find_first_not_of( " \t" ) );
        return value;
    }
    return {};
}

} // namespace

std::string GetVXVersionString()
{
    return VX_VERSION_STRING;
}

std::string GetDetailedOSName()
{
    auto name = valueInFile( "/etc/os-release", "PRETTY_NAME=", '=' );
    return name.empty() ? getOSNoSpaces() : name;
}

std::string getOSNoSpaces()
{
    utsname info{};
    if ( uname( &info ) != 0 )
        return "Linux";
    std::string name = std::string( info.sysname ) + "_" + info.machine;
    std::replace( name.begin(), name.end(), ' ', '_' );
    return name;
}

std::string GetCpuId()
{
    return valueInFile( "/proc/cpuinfo", "model name", ':' );
}

Json::Value GetMachineInfoJson()
{
    Json::Value out( Json::objectValue );
    out["OS Version"] = GetDetailedOSName();
    auto& cpu = out["CPU Info"];
    cpu["Concurrent threads"] = std::thread::hardware_concurrency();
    if ( const auto name = GetCpuId(); !name.empty() )
        cpu["CPU"] = name;
    struct sysinfo memory{};
    if ( ::sysinfo( &memory ) == 0 )
        out["Memory Info"]["Physical memory total MB"] =
            std::to_string( uint64_t( memory.totalram ) * memory.mem_unit >> 20 );
    return out;
}

} // namespace VX
