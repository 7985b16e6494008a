#pragma once

#include <VXViewer/dialogs/FileChoice.h>

#include <functional>

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
    /// The same with files that no format reads shown, too.
    void openAny( Chosen chosen );
    /// Asks for a file to write; a name without the extension (".vxu") gets it.
    void save( const std::string& suggestedName, const std::string& extension, SaveChosen chosen );
    [[nodiscard]] bool isShown() const { return shown_; }
    void draw();

private:
    void openDesktopDialog_();
    void saveInDesktopDialog_( const std::string& name, const std::string& extension );
    void goUp_();
    void drawPath_();
    void drawEntries_();
    void drawEntry_( size_t index );
    void drawOpenFooter_();
    void drawSaveFooter_();
    void handleKeys_();
    /// After something was activated: whether the marked files are to be opened.
    void activated_( bool toOpen );
    void accept_();
    void acceptSave_();
    void close_();

    Chosen chosen_;
    SaveChosen saveChosen_;
    FileChoice choice_;
    bool shown_ = false;
    bool showsAny_ = false; ///< of whatever kind, for this once
    bool focusName_ = false;
    bool scrollToCursor_ = false;
};

} // namespace VX
