#pragma once

#include "files/FoundFile.h"

#include <VXMesh/scene/Object.h>

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace VX::App
{

/// Which objects of the scene came from which file. UI thread.
class OpenedFiles
{
public:
    using Objects = std::vector<std::shared_ptr<Object>>;

    /// `identity` is that of the file when it was read.
    void add( const std::filesystem::path& file, const FileIdentity& identity, const Objects& objects );

    /// What the scene still holds of what a file was opened to.
    [[nodiscard]] Objects objectsOf( const std::filesystem::path& file ) const;
    /// The file that an object of the scene came from, or the one above it; null when it was made here.
    [[nodiscard]] const std::filesystem::path* fileOf( const Object& object ) const;
    /// Files of which the scene holds something.
    [[nodiscard]] std::vector<std::filesystem::path> inScene() const;

    /// A file was written here: that is no change.
    void noteWritten( const std::filesystem::path& file );
    /// Whether a file that is open is no longer what was read. Says so once for each change.
    [[nodiscard]] bool takeChange( const std::filesystem::path& file );

private:
    struct Opened
    {
        FileIdentity identity;
        std::vector<std::weak_ptr<Object>> objects;
    };
    struct Origin
    {
        std::weak_ptr<Object> object;
        std::filesystem::path file;
    };

    void forgetGone_();

    std::map<std::filesystem::path, Opened> opened_;
    std::unordered_map<const Object*, Origin> origins_;
};

/// A path by which a file is known however it was named.
[[nodiscard]] std::filesystem::path fullPath( const std::filesystem::path& file );

} // namespace VX::App
