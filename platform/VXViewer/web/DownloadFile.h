#pragma once

#include <VXMesh/io/TemporaryFile.h>
#include <VXViewer/Export.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace VX
{

/// Where the body of an answer is kept until it is complete. One thread at a time; failures name the target.
class VXVIEWER_API DownloadFile
{
public:
    struct Limits
    {
        /// Largest size of the file, in bytes.
        uint64_t maxSize = 0;
        /// What must stay free on its disk, in bytes.
        uint64_t reserve = 0;
    };

    /// Begins a file for `target`, which stays as it is until `finish`.
    [[nodiscard]] static tl::expected<DownloadFile, std::string> create(
        const std::filesystem::path& target, const Limits& limits );

    /// Fails at once when so many bytes could not be taken, before the first of them has come.
    [[nodiscard]] tl::expected<void, std::string> expectSize( uint64_t size ) const;
    [[nodiscard]] tl::expected<void, std::string> write( std::span<const std::byte> bytes );
    /// Puts the whole file into its place.
    [[nodiscard]] tl::expected<void, std::string> finish();

private:
    DownloadFile( TemporaryFile file, std::filesystem::path target, const Limits& limits );
    [[nodiscard]] tl::expected<void, std::string> checkDisk_( uint64_t coming ) const;
    [[nodiscard]] tl::unexpected<std::string> failure_( const std::string& why ) const;

    TemporaryFile file_;
    std::filesystem::path target_;
    Limits limits_;
    uint64_t written_ = 0;
    uint64_t unchecked_ = 0; ///< bytes since the disk was last asked
};

} // namespace VX
