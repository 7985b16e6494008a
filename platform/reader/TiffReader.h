#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <string>

namespace VX
{

/// Where voxels go: first what they are, once, then their bytes in the machine's order. False when nobody wants more.
struct VoxelSink
{
    std::function<bool( const FileVoxels& )> begin;
    std::function<bool( std::span<const std::byte> )> write;
};

/// Whether a path is one that `readTiff` reads: a folder, or a file by its name.
[[nodiscard]] bool isTiff( const std::filesystem::path& path );

/// Reads the pages of a TIFF file as slices, or the TIFF files of a folder by the numbers in their names, with a
/// library that does not withstand hostile files: call it in a process that can be lost. All pages have to be of one
/// size and kind, which is looked at before the first byte is written. Throws std::bad_alloc. The error does not name
/// the file.
[[nodiscard]] tl::expected<void, std::string> readTiff(
    const std::filesystem::path& path, const VoxelSink& sink, const ProgressCallback& progress );

} // namespace VX
