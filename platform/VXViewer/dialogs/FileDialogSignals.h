#pragma once

#include <VXViewer/Export.h>

#include <boost/signals2/signal.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace VX
{

/// Tells what the user has chosen in the file dialogs. UI thread.
class VXVIEWER_API FileDialogSignals
{
public:
    [[nodiscard]] static FileDialogSignals& instance();

    /// A file to save to was chosen.
    boost::signals2::signal<void( const std::filesystem::path& )> onSaveFile;
    /// Files to open were chosen.
    boost::signals2::signal<void( const std::vector<std::filesystem::path>& )> onOpenFiles;
};

/// What files have in common, in a few words that name none of them: "STL file", "3 STL files" or "3 files". Files
/// without an extension are "file".
[[nodiscard]] VXVIEWER_API std::string commonFilesName( const std::vector<std::filesystem::path>& files );

} // namespace VX
