#pragma once

#include <VXMesh/volume/Volume.h>

namespace VX
{

/// Of the values of all voxels that are numbers, those of floats that are none left out.
struct VolumeStatistics
{
    uint64_t count = 0; ///< of those voxels; when it is 0 so are the others
    double min = 0, max = 0, mean = 0;
    double deviation = 0; ///< of the whole, not of a sample of it
};

/// On all cores; blocks. Any thread.
[[nodiscard]] VXMESH_API VolumeStatistics statisticsOf( const Volume& volume );

struct VolumeHistogram
{
    /// The values where the first bin begins and the last one ends.
    double low = 0, high = 0;
    /// Voxels in each bin; the upper end of the last one belongs to it.
    std::vector<uint64_t> counts;

    [[nodiscard]] double binWidth() const { return counts.empty() ? 0 : ( high - low ) / double( counts.size() ); }
    /// The value below which this share, 0 to 1, of the voxels lies, to the width of a bin.
    [[nodiscard]] VXMESH_API double quantile( double share ) const;
};

/// Counts the values between the least and the greatest, or between `low` and `high` where those are given, in 1 to
/// 65536 bins; voxels outside and what is no number are not counted. On all cores; blocks. Any thread.
[[nodiscard]] VXMESH_API VolumeHistogram histogramOf( const Volume& volume, size_t bins );
[[nodiscard]] VXMESH_API VolumeHistogram histogramOf( const Volume& volume, size_t bins, double low, double high );

/// The window that the volume brings along, or one that shows all but the outermost half per cent of its values. Its
/// width is above zero.
[[nodiscard]] VXMESH_API VolumeWindow windowOf( const Volume& volume );

} // namespace VX
