#pragma once

#include <VXMesh/formats/voxels/ByteSource.h>
#include <VXMesh/io/Progress.h>
#include <VXMesh/volume/VolumeBuilder.h>

#include <functional>

namespace VX
{

/// A number as files keep it.
enum class FileNumber
{
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Int64,
    UInt64,
    Float32,
    Float64
};

/// Calls `work` with a zero of the C++ type of `number`, and returns what it returns.
template <typename Work>
decltype( auto ) withFileNumber( FileNumber number, const Work& work )
{
    switch ( number )
    {
    case FileNumber::Int8:
        return work( int8_t{} );
    case FileNumber::UInt8:
        return work( uint8_t{} );
    case FileNumber::Int16:
        return work( int16_t{} );
    case FileNumber::UInt16:
        return work( uint16_t{} );
    case FileNumber::Int32:
        return work( int32_t{} );
    case FileNumber::UInt32:
        return work( uint32_t{} );
    case FileNumber::Int64:
        return work( int64_t{} );
    case FileNumber::UInt64:
        return work( uint64_t{} );
    case FileNumber::Float32:
        return work( float{} );
    case FileNumber::Float64:
        break;
    }
    return work( double{} );
}

[[nodiscard]] VXMESH_API size_t sizeOf( FileNumber number );
[[nodiscard]] FileNumber fileNumberOf( VoxelType type );

/// What the numbers of one voxel are, which stand side by side.
enum class Channels
{
    One,
    Colour,  ///< red, green, blue
    ColourA, ///< and opacity, which is left out
    Complex  ///< real and imaginary
};

/// How a file keeps its voxels, x fastest.
struct FileVoxels
{
    FileNumber number = FileNumber::UInt8;
    Channels channels = Channels::One;
    std::endian order = std::endian::native;
    VolumeGrid grid = {};
    VoxelMeaning meaning = {};

    /// Of all voxels; 0 when they are more than 2^63.
    [[nodiscard]] uint64_t bytes() const;
};

struct ReadVolume
{
    Volume volume;
    std::string warnings; ///< one sentence per line
};

/// Opens the bytes of the voxels, from their beginning each time.
using OpenSource = std::function<std::unique_ptr<ByteSource>()>;

/// Reads voxels. What no volume keeps is turned into what it does: whole numbers of 64 bits into 32 bits where all fit,
/// else into floats, as floats of 64 bits are; colours into their brightness; complex numbers into their size. Warnings
/// say so. Fails when bytes are missing; those left over are left alone.
[[nodiscard]] VXMESH_API tl::expected<ReadVolume, std::string> readVoxels(
    const OpenSource& open, const FileVoxels& voxels, const ProgressCallback& progress );

/// What was read, with the warnings of its header before its own.
[[nodiscard]] tl::expected<ReadVolume, std::string> withWarnings(
    std::string warnings, tl::expected<ReadVolume, std::string> read );

/// Adds a sentence on a line of its own.
void addWarning( std::string& warnings, const std::string& sentence );

} // namespace VX
