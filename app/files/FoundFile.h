#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace VX::App
{

/// What tells whether a file is still the one that it was.
struct FileIdentity
{
    uint64_t inode = 0;
    uint64_t size = 0;
    /// Last change of the content, nanoseconds since 1970.
    int64_t time = 0;

    [[nodiscard]] bool operator==( const FileIdentity& ) const = default;
};

/// What stands at a path of the working folder, where everybody may put something.
struct FoundFile
{
    FileIdentity identity;
    bool isFolder = false;
    /// A regular file of this user that has no second name: nobody else can have written it.
    bool isOurs = false;
    unsigned owner = 0;
};

/// Looks without following a link; nothing when nothing is there. Any thread.
[[nodiscard]] std::optional<FoundFile> lookAt( const std::filesystem::path& path );

/// Of the file that a path leads to, through links.
[[nodiscard]] FileIdentity identityOf( const std::filesystem::path& file );

/// Keeps a file of ours to ourselves (mode 0600), and says what it is; nothing when it is not ours.
[[nodiscard]] std::optional<FileIdentity> keepPrivate( const std::filesystem::path& path );

/// Removes whatever stands at a path that the import of `input` needs. Empty when nothing is there any more, else a
/// text for the user: what is in the way, whose it is and what to do.
[[nodiscard]] std::string clearWay( const std::filesystem::path& path, const std::filesystem::path& input );

/// Why a converted file that `input` was to be read from was not: it is not ours.
[[nodiscard]] std::string strangerText( const std::filesystem::path& path, const std::filesystem::path& input );

} // namespace VX::App
