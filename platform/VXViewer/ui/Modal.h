#pragma once

#include <VXViewer/Export.h>

namespace VX::UI
{

/// Opens the popup of a modal that wants to be answered, as soon as no other modal stands; until then it waits.
///
/// Dear ImGui has room for one popup at a level, and opening a second one there ends the first without an answer. So a
/// modal of the framework calls this in every frame in which it wants to stand, before `BeginModalNoAnimation`. One
/// that somebody else opens by `ImGui::OpenPopup` takes the place, and the waiting one comes back after it. It never
/// comes in the frame in which another one was answered, whose key it would take for its own. Returns whether the modal
/// is open; UI thread, between the begin and the end of a frame.
VXVIEWER_API bool openModalInTurn( const char* name );

/// Called once a frame before anything is drawn. Closes modals that were not drawn in the frame before: nobody can
/// answer them, and they would keep the mouse from all windows.
VXVIEWER_API void beginModals();

/// Called once a frame after everything is drawn: whether a modal has come or gone, and more frames are due for the
/// next.
[[nodiscard]] VXVIEWER_API bool endModals();

/// Called after the begin of a window that may come at any time and does not take the keyboard. One that appears while
/// a modal stands goes behind it, as all do that stand there already; Dear ImGui would leave it in front, where nobody
/// can press it.
VXVIEWER_API void keepBehindModals();

} // namespace VX::UI
