#pragma once

#include <VXViewer/menu/FolderListing.h>

#include <functional>
#include <vector>

namespace VX
{

/// Asks which files to open: the desktop's own dialog through zenity where it is installed, else a browser of our own.
class FileDialog
{
public:
    using Chosen = std::function<void( const std::vector<std::filesystem::path>& )>;

    /// `chosen` is called on the UI thread, and not at all when the user gives up.
    void open( Chosen chosen );
    [[nodiscard]] bool isShown() const { return shown_; }
    void draw( float scale );

private:
    void openDesktopDialog_();
    void goTo_( const std::filesystem::path& folder );
    void drawPath_( float scale );
    void drawEntries_( float scale );
    void drawEntry_( size_t index );
    void drawFilter_( float scale );
    void handleKeys_();
    void activate_( const FolderListing::Entry& entry );
    void accept_();
    [[nodiscard]] bool anySelected_() const;
    void close_();

    Chosen chosen_;
    bool shown_ = false;
    std::filesystem::path folder_;
    FolderListing listing_;
    std::vector<bool> selected_;
    size_t cursor_ = 0;
    bool scrollToCursor_ = false;
    bool allFiles_ = false;
};

} // namespace VX
