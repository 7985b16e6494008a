#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/ObjectVolume.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace VX
{

/// Replaces `file` in one step by one with the volume: on failure, or when stopped, the old one stays. Blocks; any
/// thread. The error names the file ("Operation was canceled" when stopped).
using SaveVolume = std::function<tl::expected<void, std::string>(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress )>;

/// One kind of file that volumes can be saved as.
struct VolumeSaver
{
    /// As a file dialog shows it: "NIfTI, packed".
    std::string name;
    /// In lower case, with the dot.
    std::string extension;
    SaveVolume save;
};

/// NIfTI, plain and packed; NRRD; TIFF stack, one page for each slice; raw voxels, with a text beside them that
/// describes them, "head.raw.mhd" beside "head.raw", which opens, too.
///
/// NIfTI keeps the stored numbers with slope and intercept. The others have no word for those, so they get the values:
/// in whole numbers where these fit, else in floats. TIFF keeps the spacing but neither origin nor direction.
[[nodiscard]] VXMESH_API const std::vector<VolumeSaver>& volumeSavers();

/// Saves as the kind that the name's extension stands for.
[[nodiscard]] VXMESH_API tl::expected<void, std::string> saveVolume(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress = {} );

/// The volume of an object where the object stands in the scene, as a file has to have it. Fails when the object has
/// none or when a placement has bent right angles.
[[nodiscard]] VXMESH_API tl::expected<Volume, std::string> volumeInScene( const ObjectVolume& object );

} // namespace VX
