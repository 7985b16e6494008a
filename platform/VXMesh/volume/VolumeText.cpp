#include <VXMesh/volume/VolumeText.h>

#include <fmt/format.h>

namespace VX
{

std::string sizeText( const VoxelIndex& size )
{
    return fmt::format( "{} x {} x {}", size[0], size[1], size[2] );
}

std::string bytesText( uint64_t bytes )
{
    constexpr std::array<const char*, 7> cUnits{ "bytes", "kB", "MB", "GB", "TB", "PB", "EB" };
    auto value = double( bytes );
    size_t unit = 0;
    for ( ; value >= 999.5 && unit + 1 < cUnits.size(); ++unit )
        value /= 1000;
    return fmt::format( "{:.{}f} {}", value, unit > 0 && value < 9.95 ? 1 : 0, cUnits[unit] );
}

} // namespace VX
