#pragma once

#include <VXViewer/dialogs/FolderListing.h>

#include <filesystem>
#include <string>
#include <vector>

namespace VX
{

/// What is chosen in our file browser, apart from how it is drawn: the folder that is shown, which of its entries are
/// marked, where the one cursor of keyboard and mouse is, and the name to save under. UI thread.
class VXVIEWER_API FileChoice
{
public:
    /// Begins to choose files to open.
    void beginOpen( const std::filesystem::path& folder );
    /// Begins to choose a file to write; a name without the extension (".vxu") gets it.
    void beginSave( const std::filesystem::path& folder, std::string name, std::string extension );

    void goTo( const std::filesystem::path& folder );
    void goUp();
    void showAllFiles( bool all );

    [[nodiscard]] bool isSaving() const { return saving_; }
    [[nodiscard]] bool showsAllFiles() const { return allFiles_; }
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    [[nodiscard]] const FolderListing& listing() const { return listing_; }
    [[nodiscard]] size_t cursor() const { return cursor_; }
    [[nodiscard]] bool isMarked( size_t index ) const { return marked_.at( index ); }
    [[nodiscard]] bool anyMarked() const;

    /// A click on an entry: marks it alone or, with `add`, beside the others, or no more where it was marked.
    void click( size_t index, bool add );
    /// The arrow keys: mark the next entry or the one before, the first where none is marked.
    void moveDown();
    void moveUp();

    /// What a double click does: enters a folder; a file's name is taken to save under. Returns whether the marked
    /// files, this one among them, are to be opened now.
    [[nodiscard]] bool activate( size_t index );
    /// The same with the entry under the cursor, or the first marked one where the cursor's was taken out.
    [[nodiscard]] bool activateMarked();
    [[nodiscard]] std::vector<std::filesystem::path> markedFiles() const;

    /// As the user edits it.
    [[nodiscard]] std::string& name() { return name_; }
    [[nodiscard]] bool hasName() const;
    [[nodiscard]] std::filesystem::path saveTarget() const;
    /// Whether a file of the name stands there already.
    [[nodiscard]] bool replaces() const;

private:
    void markOnly_( size_t index );

    bool saving_ = false;
    bool allFiles_ = false;
    std::filesystem::path folder_;
    FolderListing listing_;
    std::vector<bool> marked_;
    size_t cursor_ = 0;
    std::string name_;
    std::string extension_;
};

/// The file with the extension (".vxu", lower case), where its name has not got it in any case.
[[nodiscard]] std::filesystem::path withExtension( std::filesystem::path file, const std::string& extension );

} // namespace VX
