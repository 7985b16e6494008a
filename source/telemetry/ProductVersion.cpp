#include <VXOrvanta/telemetry/ProductVersion.h>

#include <VXMesh/system/SystemInfo.h>

#include <algorithm>

namespace VX
{

std::string noSpaces( std::string text )
{
    std::replace( text.begin(), text.end(), ' ', '-' );
    return text;
}

std::string productVersion()
{
    return noSpaces( GetVXVersionString() );
}

} // namespace VX
