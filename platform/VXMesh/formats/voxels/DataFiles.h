#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <filesystem>

namespace VX
{

/// A whole file of voxels, as large as it is.
[[nodiscard]] tl::expected<FilePart, std::string> wholeFile( const std::filesystem::path& file );

/// A file that a header names. It has to stand in the header's folder or below it: what a stranger's header names
/// elsewhere is not for it to say.
[[nodiscard]] tl::expected<FilePart, std::string> namedFile(
    const std::filesystem::path& headerFile, const std::string& name );

/// The same for several of them.
[[nodiscard]] tl::expected<std::vector<FilePart>, std::string> namedFiles(
    const std::filesystem::path& headerFile, const std::vector<std::string>& names );

/// The names that a pattern such as "slice%03d.raw" makes of first, first + step, … up to last. The pattern has one
/// number, of at most 20 digits; there are at most 65536 names.
[[nodiscard]] VXMESH_API tl::expected<std::vector<std::string>, std::string> numberedNames(
    const std::string& pattern, int64_t first, int64_t last, int64_t step );

/// The same for the words of a header, at least three: the pattern, the first number, the last and, unless it is 1, the
/// step.
[[nodiscard]] tl::expected<std::vector<std::string>, std::string> numberedNames(
    const std::vector<std::string>& words );

/// How bytes are packed, or written as text.
enum class DataEncoding
{
    Raw,
    Packed, ///< zlib or gzip
    Text,   ///< decimal numbers with white space between them
    Hex
};

/// Where the voxels of a file with a header in text are.
struct DataPlace
{
    std::vector<FilePart> parts;
    DataEncoding encoding = DataEncoding::Raw;
    /// Left out of the beginning of each part, first lines, then bytes of what was unpacked.
    uint64_t skippedLines = 0, skippedBytes = 0;
    /// Instead of that: the voxels are the last bytes.
    bool isAtEnd = false;
};

/// Reads voxels from there.
[[nodiscard]] tl::expected<ReadVolume, std::string> readVoxelsAt(
    const DataPlace& place, const FileVoxels& voxels, const ProgressCallback& progress );

} // namespace VX
