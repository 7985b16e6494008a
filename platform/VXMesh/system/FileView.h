#pragma once

#include <filesystem>
#include <vector>

namespace VX
{

/// What a process may open of the file system, files themselves or all that lies below folders. Links are followed when
/// the view is made; what does not exist is left out.
struct FileView
{
    std::vector<std::filesystem::path> readable;
    std::vector<std::filesystem::path> changeable; ///< files in it can also be made, changed and removed
};

/// Whether the kernel can take the rest of the file system away (Landlock, Linux 5.13 and later).
[[nodiscard]] bool canNarrowFiles();

/// Leaves this thread and all that it starts nothing but this view; it may not be traced or signal others either, as
/// far as the kernel knows how. Files that are open stay open. New privileges must have been given up. Does nothing
/// where the kernel cannot; false when it can and it did not work.
[[nodiscard]] bool narrowFiles( const FileView& view );

} // namespace VX
