#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/Export.h>
#include <VXViewer/menu/Notification.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VX
{

class Viewer;

/// One entry of the menu bar.
struct MenuItem
{
    std::string caption;
    std::function<void()> action;
    /// GLFW key code and modifier bits of its shortcut; 0 when it has none.
    int key = 0;
    int modifiers = 0;
    /// Greyed out while this says no; always enabled when empty.
    std::function<bool()> enabled;
    /// Drawn with a check mark while this says yes; a plain entry when empty.
    std::function<bool()> checked;
    bool separatorBefore = false;
};

/// The interface over the scene: menu bar, scene list, dialogs, progress and notifications.
///
/// Owned by the viewer; everything runs on the UI thread.
class VXVIEWER_API ImGuiMenu
{
public:
    ImGuiMenu();
    virtual ~ImGuiMenu();

    /// Called when the viewer's window stands, before the first frame.
    virtual void init( Viewer* viewer );
    /// Called before the window goes.
    virtual void shutdown();

    /// Draws one frame by `drawCallback`.
    void draw();

    /// Shows a text that has to be confirmed. Further texts wait for their turn.
    virtual void showModalMessage( const std::string& message, NotificationType type );
    virtual void pushNotification( const RibbonNotification& notification );

    /// Appends an entry to a menu of the bar, which is created by its first entry.
    void addItem( const std::string& menu, MenuItem item );
    /// Asks for files to open; Control+O comes here.
    void setOpenAction( std::function<void( const std::vector<std::filesystem::path>& )> open );
    void openFileDialog();

    /// Runs the shortcut of a key; true when there was one.
    bool onKeyDown( int key, int modifiers );
    /// A click in the scene: selects an object (null: none), adding to the selection where asked.
    void onSceneClick( Object* object, bool add );

    /// What the interface takes from the scene at the left and at the upper edge.
    [[nodiscard]] virtual Vector2f coveredPixels() const;

    /// How much larger than at 96 dots an inch the interface is drawn.
    [[nodiscard]] float menuScaling() const;
    [[nodiscard]] bool isModalShown() const;

    /// Draws the whole interface of one frame; a product may replace it.
    std::function<void()> drawCallback;

protected:
    [[nodiscard]] Viewer& viewer_() const { return *viewerPtr_; }
    void drawMenuBar_();
    void drawSceneList_();
    void drawHelpers_();
    void drawDialogs_();
    void drawNotifications_();

private:
    struct Parts;
    Viewer* viewerPtr_ = nullptr;
    std::unique_ptr<Parts> parts_;
};

} // namespace VX
