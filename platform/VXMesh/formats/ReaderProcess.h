#pragma once

#include <VXMesh/formats/FileFormat.h>

namespace VX
{

/// Reads a file in a process of its own, whose library may hang, crash or be taken over by a hostile file: it may
/// only read files and speak to us, and ends with this call. Stopping kills it.
///
/// The program gets the file's path as its argument and writes to its standard output, a line each: "progress 0.25" as
/// often as it likes, and at last "error" with a text, or "scene" with a number of bytes, which follow: a .vxu file; or
/// "voxels" with eight numbers, and the bytes of the voxels until its end: which `FileNumber` and `Channels` they are,
/// how many there are along each axis, and the spacings. Bytes go straight into bricks, so that a volume is held once.
///
/// Any thread. The error names the file.
[[nodiscard]] VXMESH_API tl::expected<LoadedObjects, std::string> readInProcess(
    const std::filesystem::path& program, const std::filesystem::path& file, const ProgressCallback& progress );

/// The reader that comes with this library.
[[nodiscard]] VXMESH_API std::filesystem::path readerProgram();

} // namespace VX
