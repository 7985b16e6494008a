#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <filesystem>

namespace VX
{

/// What somebody says of a file that has voxels and nothing that describes them: x fastest, then y, then z, after a
/// header that is left out.
struct RawVolume
{
    VoxelIndex size{ 1, 1, 1 };
    VoxelType type = VoxelType::UInt8;
    std::endian order = std::endian::little;
    uint64_t headerBytes = 0;
    Vector3d spacing{ 1, 1, 1 };

    bool operator==( const RawVolume& ) const = default;
    /// Of the header and the voxels; 0 when they are more than can be opened.
    [[nodiscard]] VXMESH_API uint64_t fileBytes() const;
};

/// Reads such a file, as is or packed by gzip. Fails when it is shorter than said; what is over is left alone, with a
/// warning. Any thread; the error says what is wrong and does not name the file.
[[nodiscard]] VXMESH_API tl::expected<ReadVolume, std::string> readRaw(
    const std::filesystem::path& file, const RawVolume& raw, const ProgressCallback& progress = {} );

struct RawGuesses
{
    /// The likeliest first, at most 16 of them; each of just as many bytes as the file.
    std::vector<RawVolume> candidates;
    /// Whether the name of the file told the first one, which needs no question then.
    bool isNamed = false;
};

/// What a file might be, by its name ("head_256x256x128_uint16_be.raw", with spacings such as "0.5x0.5x1.2mm") and by
/// how many bytes it has. Reads nothing.
[[nodiscard]] VXMESH_API RawGuesses guessRaw( const std::filesystem::path& file, uint64_t fileSize );

} // namespace VX
