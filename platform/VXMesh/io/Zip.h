#pragma once

#include <VXMesh/io/Progress.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace VX
{

/// Packs every regular file below `sourceFolder` into a new archive at `zipFile`, replacing what was there. The archive
/// is for its owner alone (mode 0600), and is never written through a link.
///
/// Entry names are the paths relative to `sourceFolder`, in UTF-8; symbolic links are not followed. Files whose path
/// is listed in `excludeFiles` stay out. A non-empty `password` encrypts each entry (WinZip AES-256); the names stay
/// readable. `progress` is called on the calling thread.
///
/// Blocks; any thread; holds the packed files in memory until the archive is written. On failure or when stopped no
/// archive is left behind, a former one stays as it was, and the text says what could not be read or written
/// ("Operation was canceled" when stopped).
[[nodiscard]] VXMESH_API tl::expected<void, std::string> compressZip( const std::filesystem::path& zipFile,
    const std::filesystem::path& sourceFolder, const std::vector<std::filesystem::path>& excludeFiles = {},
    const char* password = nullptr, ProgressCallback progress = {} );

struct UnzipLimits
{
    /// Largest unpacked size of one entry, in bytes.
    uint64_t maxEntrySize = uint64_t( 1 ) << 30;
    /// Largest number of entries.
    uint64_t maxEntries = 1000;
};

/// Unpacks the only file of an archive to `target`, whatever the entry is called.
///
/// Blocks; any thread. Fails when the archive does not hold exactly one file or when that file, as it unpacks, grows
/// over the limit, however little its header claims. On failure nothing is left at `target`.
[[nodiscard]] VXMESH_API tl::expected<void, std::string> extractSingleFile(
    const std::filesystem::path& zipFile, const std::filesystem::path& target, const UnzipLimits& limits = {} );

} // namespace VX
