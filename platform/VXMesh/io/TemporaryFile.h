#pragma once

#include <VXMesh/Export.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <system_error>

namespace VX
{

/// A file that is being made beside its place: new, empty and by default of this user alone, under the name of its
/// target, cut where that is very long, with a dot and something that nobody can guess behind it. What others have put
/// into the folder, be it a link or a FIFO, is never opened.
///
/// It is removed with this value unless it was moved to its place. Any thread, one at a time.
class VXMESH_API TemporaryFile
{
public:
    /// Makes it in the folder of `target` with these permission bits, before the process's umask; fails where that
    /// folder cannot be written to.
    [[nodiscard]] static tl::expected<TemporaryFile, std::error_code> createFor(
        const std::filesystem::path& target, unsigned mode = 0600 );

    TemporaryFile( TemporaryFile&& other ) noexcept;
    TemporaryFile& operator=( TemporaryFile&& other ) noexcept;
    ~TemporaryFile();

    /// For reading and writing; closed by this value.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Replaces `target`, in one step: a reader sees the old content or the new one, and of a link that stands there
    /// the link is replaced. On failure the old one stays. Ends this value either way.
    [[nodiscard]] std::error_code moveTo( const std::filesystem::path& target );

private:
    TemporaryFile( int descriptor, std::filesystem::path path );
    void discard_();

    int descriptor_ = -1;
    std::filesystem::path path_;
};

} // namespace VX
