#pragma once

#include <VXViewer/dialogs/ShortcutManager.h>

namespace VX
{

/// A dialog with all shortcuts by category, which can be searched.
class VXVIEWER_API ShortcutSheet
{
public:
    /// What the user reads for a command of this name; as it is where none is set.
    std::function<std::string( const std::string& name )> captionOf;

    void open() { openRequested_ = true; }
    [[nodiscard]] bool isShown() const { return shown_; }
    void draw( const ShortcutManager& manager );

private:
    void drawTable_( const ShortcutManager& manager );

    bool openRequested_ = false;
    bool shown_ = false;
    std::string filter_;
};

} // namespace VX
