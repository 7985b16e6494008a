#include "AppMenu.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/SceneRenderer.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

#include <GLFW/glfw3.h>

namespace VX::App
{
namespace
{

Viewer& viewer()
{
    return getViewerInstance();
}

bool hasObjects()
{
    return !viewer().sceneRoot().children().empty();
}

std::vector<std::shared_ptr<Object>> selectedObjects()
{
    std::vector<std::shared_ptr<Object>> out;
    forEachObject( viewer().sceneRoot(),
        [&]( Object& object )
        {
            if ( object.isSelected() && object.parent() )
                out.push_back( object.shared_from_this() );
        } );
    return out;
}

/// A name in the user's home folder that is not taken: "Orvanta scene.vxu", "Orvanta scene 2.vxu", …
std::filesystem::path freeName( const std::string& stem, const std::string& extension )
{
    std::error_code ec;
    auto file = getUserHomeDir() / ( stem + extension );
    for ( int i = 2; std::filesystem::exists( file, ec ); ++i )
        file = getUserHomeDir() / ( stem + " " + std::to_string( i ) + extension );
    return file;
}

void tellSaved( ImGuiMenu& menu, const tl::expected<void, std::string>& saved, const std::filesystem::path& file )
{
    if ( saved )
        menu.pushNotification( { "Saved", utf8string( file ), NotificationType::Info, {}, {}, 8 } );
    else
        menu.showModalMessage( saved.error(), NotificationType::Error );
}

void addFileMenu( ImGuiMenu& menu )
{
    menu.addItem(
        "File", { "Open…", [&menu] { menu.openFileDialog(); }, GLFW_KEY_O, GLFW_MOD_CONTROL, {}, {}, false } );
    menu.addItem( "File", { "Save scene",
                              [&menu]
                              {
                                  const auto file = freeName( "Orvanta scene", ".vxu" );
                                  tellSaved( menu, saveVxu( file, viewer().sceneRoot().children() ), file );
                              },
                              GLFW_KEY_S, GLFW_MOD_CONTROL, &hasObjects, {}, false } );
    menu.addItem( "File", { "Save picture",
                              [&menu]
                              {
                                  const auto file = freeName( "Orvanta picture", ".png" );
                                  tellSaved( menu, savePng( file, viewer().sceneImage() ), file );
                              },
                              GLFW_KEY_P, GLFW_MOD_CONTROL, {}, {}, false } );
    menu.addItem(
        "File", { "Import STEP files in the background",
                    []
                    {
                        auto& config = Config::instance();
                        config.setBool( cBackgroundImportKey, !config.getBool( cBackgroundImportKey, false ) );
                    },
                    0, 0, {}, [] { return Config::instance().getBool( cBackgroundImportKey, false ); }, true } );
    menu.addItem( "File", { "Quit", [] { viewer().requestClose(); }, GLFW_KEY_Q, GLFW_MOD_CONTROL, {}, {}, true } );
}

void addEditMenu( ImGuiMenu& menu )
{
    menu.addItem( "Edit", { "Select all",
                              []
                              {
                                  forEachObject( viewer().sceneRoot(), []( Object& object )
                                      { object.select( dynamic_cast<VisualObject*>( &object ) != nullptr ); } );
                              },
                              GLFW_KEY_A, GLFW_MOD_CONTROL, &hasObjects, {}, false } );
    menu.addItem( "Edit", { "Remove selected",
                              []
                              {
                                  for ( const auto& object : selectedObjects() )
                                      object->detach();
                              },
                              GLFW_KEY_DELETE, 0, [] { return !selectedObjects().empty(); }, {}, false } );
    menu.addItem( "Edit", { "Hide selected",
                              []
                              {
                                  for ( const auto& object : selectedObjects() )
                                      object->setVisible( false );
                              },
                              GLFW_KEY_H, 0, [] { return !selectedObjects().empty(); }, {}, false } );
    menu.addItem(
        "Edit", { "Show all",
                    [] { forEachObject( viewer().sceneRoot(), []( Object& object ) { object.setVisible( true ); } ); },
                    GLFW_KEY_H, GLFW_MOD_SHIFT, &hasObjects, {}, false } );
}

void addPreset( ImGuiMenu& menu, const char* caption, ViewPreset preset, int key, bool separator = false )
{
    menu.addItem( "View", { caption,
                              [preset]
                              {
                                  viewer().camera().setPreset( preset );
                                  viewer().fitScene();
                              },
                              key, 0, &hasObjects, {}, separator } );
}

void addShading( ImGuiMenu& menu, const char* caption, Shading shading, bool separator = false )
{
    menu.addItem( "View", { caption, [shading] { viewer().drawSettings().shading = shading; }, 0, 0, {},
                              [shading] { return viewer().drawSettings().shading == shading; }, separator } );
}

void addViewMenu( ImGuiMenu& menu )
{
    menu.addItem( "View", { "Fit all", [] { viewer().fitScene(); }, GLFW_KEY_F, 0, &hasObjects, {}, false } );
    menu.addItem( "View", { "Fit selected",
                              []
                              {
                                  Box3f box;
                                  for ( const auto& object : selectedObjects() )
                                      box.include( object->treeBox( true ) );
                                  viewer().fitBox( box );
                              },
                              GLFW_KEY_F, GLFW_MOD_SHIFT, [] { return !selectedObjects().empty(); }, {}, false } );
    addPreset( menu, "Isometric", ViewPreset::Isometric, GLFW_KEY_0, true );
    addPreset( menu, "Front", ViewPreset::Front, GLFW_KEY_1 );
    addPreset( menu, "Right", ViewPreset::Right, GLFW_KEY_3 );
    addPreset( menu, "Top", ViewPreset::Top, GLFW_KEY_7 );
    menu.addItem(
        "View", { "Orthographic", [] { viewer().camera().setOrthographic( !viewer().camera().isOrthographic() ); },
                    GLFW_KEY_5, 0, {}, [] { return viewer().camera().isOrthographic(); }, true } );
    menu.addItem( "View", { "Edges", [] { viewer().drawSettings().edges = !viewer().drawSettings().edges; }, GLFW_KEY_E,
                              0, {}, [] { return viewer().drawSettings().edges; }, false } );
    menu.addItem( "View", { "Wireframe", [] { viewer().drawSettings().wireframe = !viewer().drawSettings().wireframe; },
                              GLFW_KEY_W, 0, {}, [] { return viewer().drawSettings().wireframe; }, false } );
    addShading( menu, "Automatic shading", Shading::Automatic, true );
    addShading( menu, "Smooth shading", Shading::Smooth );
    addShading( menu, "Flat shading", Shading::Flat );
}

} // namespace

void addAppMenu( ImGuiMenu& menu, FileOpener& opener )
{
    menu.setOpenAction( [&opener]( const std::vector<std::filesystem::path>& files ) { opener.open( files ); } );
    addFileMenu( menu );
    addEditMenu( menu );
    addViewMenu( menu );
    menu.addItem( "Help", { "About Orvanta",
                              [&menu]
                              {
                                  menu.showModalMessage( "Orvanta " + GetVXVersionString() +
                                                             "\nViewer of 3D meshes, point clouds and STEP models\n\n" +
                                                             GetDetailedOSName(),
                                      NotificationType::Info );
                              },
                              GLFW_KEY_F1, 0, {}, {}, false } );
    menu.addItem( "Help", { "Mouse and keys",
                              [&menu]
                              {
                                  menu.showModalMessage(
                                      "Left drag: turn\nRight or middle drag: move\nWheel: zoom at the pointer\nClick: "
                                      "select, with Ctrl one more\n"
                                      "Double click: fit the object\nKeys stand beside the entries of the menus",
                                      NotificationType::Info );
                              },
                              0, 0, {}, {}, false } );
}

} // namespace VX::App
