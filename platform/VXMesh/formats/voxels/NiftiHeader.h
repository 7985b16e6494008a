#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <array>

namespace VX
{

/// What the header of a NIfTI file says, of either version and byte order.
struct NiftiHeader
{
    int version = 1;     ///< 0 for ANALYZE 7.5
    bool isAlone = true; ///< whether the voxels follow in the same file
    std::endian order = std::endian::native;
    std::array<int64_t, 8> size{}; ///< how many axes, and the voxels along each
    int type = 0;
    double offset = 0;
    double slope = 0, intercept = 0;
    double shownLow = 0, shownHigh = 0;
    std::array<double, 8> spacing{};
    int qform = 0, sform = 0;
    std::array<double, 3> quaternion{}, quaternionOffset{};
    std::array<std::array<double, 4>, 3> rows{};
    int units = 0;

    static constexpr size_t cSize1 = 348, cSize2 = 540;

    /// Of the file's first bytes, at least `cSize1` of them; the error says what is wrong.
    [[nodiscard]] static tl::expected<NiftiHeader, std::string> of( std::span<const std::byte> bytes );

    /// Where the voxels are and what they mean.
    [[nodiscard]] tl::expected<FileVoxels, std::string> voxels( std::string& warnings ) const;

private:
    [[nodiscard]] tl::expected<VoxelIndex, std::string> volumeSize_( std::string& warnings ) const;
    [[nodiscard]] AffineXf3d placement_() const;
    [[nodiscard]] Matrix3d rotation_() const;
};

} // namespace VX
