#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Path.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX
{
namespace
{

Viewer& viewer()
{
    return getViewerInstance();
}

ImGuiMenu* menu()
{
    return viewer().getMenuPlugin().get();
}

/// Where the scene was saved last; empty when it was not.
std::filesystem::path& sceneFile()
{
    static std::filesystem::path sFile;
    return sFile;
}

void tellSaved( const tl::expected<void, std::string>& saved, const std::filesystem::path& file )
{
    if ( saved )
        menu()->pushNotification( { .header = "Saved", .text = utf8string( file ), .type = NotificationType::Time } );
    else
        menu()->showModalMessage( saved.error(), NotificationType::Error );
}

void saveSceneTo( const std::filesystem::path& file )
{
    const auto saved = saveVxu( file, viewer().sceneRoot().children() );
    if ( saved )
        sceneFile() = file;
    tellSaved( saved, file );
}

void saveSceneAs()
{
    const auto& children = viewer().sceneRoot().children();
    const auto name = children.size() == 1 ? children.front()->name() : std::string( "scene" );
    menu()->saveFileDialog( name.empty() ? "scene" : name, ".vxu", &saveSceneTo );
}

void saveScene()
{
    if ( sceneFile().empty() )
        saveSceneAs();
    else
        saveSceneTo( sceneFile() );
}

void savePicture()
{
    // Drawn now, so that the picture is what the user sees and not what a dialog leaves of it.
    menu()->saveFileDialog( "picture", ".png",
        [image = std::make_shared<Image>( viewer().sceneImage() )]( const std::filesystem::path& file )
        { tellSaved( savePng( file, *image ), file ); } );
}

const FunctionItemRegistrar cOpen( FunctionItemParams{ "Open files", [] { menu()->openFileDialog(); }, {}, {} } );
const FunctionItemRegistrar cSave( FunctionItemParams{ "Save scene", &saveScene, &Requirements::anyObject, {} } );
const FunctionItemRegistrar cSaveAs(
    FunctionItemParams{ "Save scene as", &saveSceneAs, &Requirements::anyObject, {} } );
const FunctionItemRegistrar cPicture( FunctionItemParams{ "Save picture", &savePicture, {}, {} } );
const FunctionItemRegistrar cQuit( FunctionItemParams{ "Quit", [] { viewer().requestClose(); }, {}, {} } );

} // namespace
} // namespace VX
