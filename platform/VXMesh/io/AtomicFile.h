#pragma once

#include <VXMesh/Export.h>

#include <tl/expected.hpp>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

namespace VX
{

struct AtomicWriteOptions
{
    /// Permission bits of the new file, before the process's umask.
    unsigned mode = 0666;
    /// Flush to the disk before the old content is given up.
    bool flush = true;
};

/// Replaces `file` by `parts`, one after the other, in one step: a reader sees the old content or the new one.
///
/// Blocks; any thread. On failure the old file stays, no temporary is left behind, and the text names the file.
[[nodiscard]] VXMESH_API tl::expected<void, std::string> writeFileAtomically( const std::filesystem::path& file,
    std::span<const std::span<const std::byte>> parts, const AtomicWriteOptions& options = {} );

[[nodiscard]] VXMESH_API tl::expected<void, std::string> writeFileAtomically(
    const std::filesystem::path& file, const std::string& text, const AtomicWriteOptions& options = {} );

} // namespace VX
