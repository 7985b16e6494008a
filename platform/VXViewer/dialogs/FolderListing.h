#pragma once

#include <VXViewer/Export.h>

#include <filesystem>
#include <string>
#include <vector>

namespace VX
{

/// What a file browser shows of one folder: folders first, then files that can be opened, hidden ones left out.
struct VXVIEWER_API FolderListing
{
    struct Entry
    {
        std::filesystem::path path;
        std::string name;
        std::string size; ///< "1.4 MB"; empty for folders and where it is not known
        bool isFolder = false;
    };
    std::vector<Entry> entries;
    /// Why the folder cannot be read; empty when it can.
    std::string error;

    /// With `allFiles` also those that no format reads.
    [[nodiscard]] static FolderListing read( const std::filesystem::path& folder, bool allFiles );
};

/// "512 B", "1.4 MB".
[[nodiscard]] VXVIEWER_API std::string formatFileSize( uintmax_t bytes );

} // namespace VX
