#pragma once

#include <VXMesh/volume/Volume.h>
#include <VXViewer/Export.h>

#include <string>
#include <vector>

namespace VX
{

/// Windows that a user can choose by name, and a last name for any other. Those of tissues, which are what radiology
/// has for them, where the values are Hounsfield units.
struct VXVIEWER_API WindowPresets
{
    std::vector<std::string> names;
    std::vector<VolumeWindow> windows; ///< one less than the names

    /// The number of the name for a window.
    [[nodiscard]] int find( const VolumeWindow& window ) const;
};

/// Looks at all values; any thread. The first window is the one that the volume has.
[[nodiscard]] VXVIEWER_API WindowPresets windowPresets( const Volume& volume );

} // namespace VX
