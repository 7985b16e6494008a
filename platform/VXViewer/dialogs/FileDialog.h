#pragma once

#include <VXViewer/dialogs/FolderListing.h>

#include <functional>
#include <vector>

namespace VX
{

/// Asks which files to open, or under which name to save: the desktop's own dialog through zenity where it is
/// installed, else a browser of our own. UI thread; what is chosen is told to `FileDialogSignals`, too.
class FileDialog
{
public:
    using Chosen = std::function<void( const std::vector<std::filesystem::path>& )>;
    using SaveChosen = std::function<void( const std::filesystem::path& )>;

    /// `chosen` is called on the UI thread, and not at all when the user gives up.
    void open( Chosen chosen );
    /// Asks for a file to write; a name without the extension (".vxu") gets it.
    void save( const std::string& suggestedName, const std::string& extension, SaveChosen chosen );
    [[nodiscard]] bool isShown() const { return shown_; }
    void draw( float scale );

private:
    void openDesktopDialog_();
    void saveInDesktopDialog_();
    void goTo_( const std::filesystem::path& folder );
    void drawPath_( float scale );
    void drawEntries_( float scale );
    void drawEntry_( size_t index );
    void drawOpenFooter_( float scale );
    void drawSaveFooter_( float scale );
    void handleKeys_();
    void activate_( const FolderListing::Entry& entry );
    void accept_();
    void acceptSave_();
    [[nodiscard]] bool anySelected_() const;
    [[nodiscard]] std::filesystem::path saveTarget_() const;
    void close_();

    Chosen chosen_;
    SaveChosen saveChosen_;
    bool shown_ = false;
    bool saving_ = false;
    std::string name_;
    std::string extension_;
    bool focusName_ = false;
    std::filesystem::path folder_;
    FolderListing listing_;
    std::vector<bool> selected_;
    size_t cursor_ = 0;
    bool scrollToCursor_ = false;
    bool allFiles_ = false;
};

} // namespace VX
