#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>
#include <VXViewer/history/HistoryAction.h>

#include <memory>
#include <string>
#include <vector>

namespace VX
{

/// Changes of the scene that the user can take back: each is done at once and appended to the viewer's history, when
/// there is one. UI thread.
namespace SceneEdits
{

using Objects = std::vector<std::shared_ptr<Object>>;

/// Appends objects to the scene's top level.
VXVIEWER_API void add( const std::string& actionName, const Objects& objects );

/// The same for what a file brings, which is no unsaved work by itself.
VXVIEWER_API void addOpened( const std::string& actionName, const Objects& objects );

/// Takes objects out of the scene; those below another one of the list go with it.
VXVIEWER_API void remove( const std::string& actionName, const Objects& objects );

/// Puts objects in the place of others as one step: at the top level, where the first of those stood, or at its end.
/// Others that are in the scene no more do not matter.
VXVIEWER_API void replace( const std::string& actionName, const Objects& others, const Objects& objects );

/// Appends objects to the scene's top level and returns the step that did it, for a caller who makes more of it than an
/// entry of the history.
[[nodiscard]] VXVIEWER_API std::shared_ptr<HistoryAction> addStep(
    const std::string& actionName, const Objects& objects );

VXVIEWER_API void rename( const std::shared_ptr<Object>& object, const std::string& name );

/// Shows or hides objects.
VXVIEWER_API void setVisible( const std::string& actionName, const Objects& objects, bool visible );

/// "Delete object" for one object, "Delete 3 objects" for more: names of steps hold no names of objects, which a
/// product may report.
[[nodiscard]] VXVIEWER_API std::string nameFor( const std::string& verb, const Objects& objects );

} // namespace SceneEdits

} // namespace VX
