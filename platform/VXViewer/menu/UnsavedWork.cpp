#include <VXViewer/menu/UnsavedWork.h>

#include <VXMesh/io/Path.h>
#include <VXViewer/dialogs/QuestionDialog.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/menu/SavedNotice.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/scene/SceneRoot.h>

namespace VX::UnsavedWork
{
namespace
{

void saveTo( const std::filesystem::path& file, const Action& then )
{
    const auto saved = sceneDocument().save( file );
    tellSaved( saved, file );
    if ( saved && then )
        then();
}

std::string suggestedName()
{
    if ( !sceneDocument().file().empty() )
        return utf8string( sceneDocument().file().stem() );
    const auto& children = sceneRoot().children();
    const auto name = children.size() == 1 ? children.front()->name() : std::string();
    return name.empty() ? "scene" : name;
}

/// As the scene is called in a question: long names do not fill the window.
std::string shownName()
{
    constexpr size_t cLongest = 60;
    const auto name = utf8string( sceneDocument().file().filename() );
    if ( name.empty() || name.size() > cLongest )
        return "this scene";
    return "\"" + name + "\"";
}

} // namespace

void saveAs( Action then )
{
    currentMenu()->saveFileDialog( suggestedName(), ".vxu",
        [then = std::move( then )]( const std::filesystem::path& file ) { saveTo( file, then ); } );
}

void save( Action then )
{
    if ( sceneDocument().file().empty() )
        return saveAs( std::move( then ) );
    saveTo( sceneDocument().file(), then );
}

void leave( Action then )
{
    if ( sceneDocument().isSaved() || !currentMenu() )
        return then();
    currentMenu()->ask( { .title = "Save the changes to " + shownName() + "?",
        .text = sceneDocument().file().empty() ? "It was never saved as a scene, and is lost otherwise."
                                               : "What was changed since it was saved is lost otherwise.",
        .answers = { { "Save", [then] { save( then ); } }, { "Cancel", {} }, { "Discard", then } } } );
}

} // namespace VX::UnsavedWork
