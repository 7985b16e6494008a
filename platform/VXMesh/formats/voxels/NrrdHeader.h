#pragma once

#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/HeaderText.h>

namespace VX
{

/// What the header of an NRRD file says.
struct NrrdHeader
{
    HeaderFields fields;
    std::string dataFile;            ///< the words of "data file"; empty when the voxels follow
    std::vector<std::string> listed; ///< the lines after "LIST"
    size_t size = 0;                 ///< bytes of the header

    [[nodiscard]] static tl::expected<NrrdHeader, std::string> of( std::span<const std::byte> bytes );

    [[nodiscard]] tl::expected<FileVoxels, std::string> voxels( std::string& warnings ) const;
    [[nodiscard]] tl::expected<DataEncoding, std::string> encoding() const;
    /// What stands before the voxels.
    [[nodiscard]] tl::expected<void, std::string> skip( DataPlace& place ) const;

private:
    struct Axes
    {
        Channels channels = Channels::One;
        VoxelIndex size{ 1, 1, 1 };
        size_t first = 0; ///< of the file's axes the first in space
        size_t count = 0; ///< of those in space
        int64_t volumes = 1;
    };

    [[nodiscard]] tl::expected<Axes, std::string> axes_() const;
    [[nodiscard]] tl::expected<VolumeGrid, std::string> grid_( const Axes& axes, std::string& warnings ) const;
    [[nodiscard]] tl::expected<Matrix3d, std::string> steps_( const Axes& axes ) const;
};

} // namespace VX
