#pragma once

#include <VXViewer/Export.h>

#include <string>

namespace VX::UI
{

struct TextFieldParams
{
    /// Shown dim while the field is empty.
    const char* hint = "";
    /// Shows stars, gives nothing to the clipboard, and keeps no former text, not even to be undone.
    bool masked = false;
    /// Marks the whole text when the field gets the keyboard.
    bool selectAll = false;
};

/// What has become of a field in this frame.
struct TextFieldResult
{
    bool changed = false;  ///< the user has changed the text
    bool entered = false;  ///< Enter was pressed in it
    bool left = false;     ///< it has lost the keyboard, and not to its own menu
    bool active = false;   ///< it has the keyboard, or its menu is open
    bool menuOpen = false; ///< its menu is open, and has the keyboard
};

/// A field of one line of text, with a menu at the right button.
///
/// Every field of the interface is one of these: Dear ImGui's own keeps a history of the text that it saw last, and
/// does not survive a text that was changed behind it. Here the text of the caller always wins, while the field has
/// the keyboard, too, and the history goes with what it was about. Escape leaves the field as it was typed.
///
/// The label is an id ("##name"). UI thread, within a frame.
VXVIEWER_API TextFieldResult textField( const char* label, std::string& value, const TextFieldParams& params = {} );

/// Wipes what Dear ImGui still holds of a masked field that has not the keyboard any more; once a frame.
void forgetMaskedText();

} // namespace VX::UI
