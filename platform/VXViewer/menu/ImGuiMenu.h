#pragma once

#include <VXMesh/scene/Object.h>
#include <VXViewer/core/Listeners.h>
#include <VXViewer/core/ViewerMenu.h>
#include <VXViewer/dialogs/Notification.h>
#include <VXViewer/dialogs/ShortcutManager.h>
#include <VXViewer/ui/RibbonFontManager.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VX
{

class Autosave;
struct Question;
class Viewer;

/// The interface over the scene: fonts, scaling, shortcuts, modal messages, progress and file dialogs. A menu derived
/// from it brings the panels.
///
/// It hears of input before the tools and the scene, and keeps from them what happens over its windows and the keys of
/// its shortcuts. Owned by the viewer; everything runs on the UI thread.
///
/// The order of the bases and of the virtual functions is the binary interface: programs that are built already find
/// each by its place. `ViewerMenu`, which is the viewer's own, comes last for that.
class VXVIEWER_API ImGuiMenu : public MouseDownListener,
                               public MouseMoveListener,
                               public MouseUpListener,
                               public MouseScrollListener,
                               public CursorEntranceListener,
                               public CharPressedListener,
                               public KeyDownListener,
                               public KeyUpListener,
                               public KeyRepeatListener,
                               public SpaceMouseMoveListener,
                               public SpaceMouseDownListener,
                               public TouchpadRotateGestureBeginListener,
                               public TouchpadRotateGestureUpdateListener,
                               public TouchpadRotateGestureEndListener,
                               public TouchpadSwipeGestureBeginListener,
                               public TouchpadSwipeGestureUpdateListener,
                               public TouchpadSwipeGestureEndListener,
                               public TouchpadZoomGestureBeginListener,
                               public TouchpadZoomGestureUpdateListener,
                               public TouchpadZoomGestureEndListener,
                               public PostResizeListener,
                               public PostRescaleListener,
                               public ViewerMenu
{
public:
    using FilesAction = std::function<void( const std::vector<std::filesystem::path>& )>;

    ImGuiMenu();
    ~ImGuiMenu() override;

    /// Called when the viewer's window stands, before the first frame: connects the listeners, sets the shortcuts up
    /// and installs the draw callback.
    void init( Viewer* viewer ) override;
    /// Called before the window goes.
    void shutdown() override;
    bool finish( std::chrono::milliseconds patience ) override;

protected:
    /// Makes the shortcut manager with the set that every menu has: F1 for the sheet of shortcuts, Escape.
    virtual void setupShortcuts_();

public:
    /// Shows a text that has to be confirmed. Further texts wait for their turn.
    virtual void showModalMessage( const std::string& message, NotificationType type );
    /// The same with a button beside OK, for what can be done about it; pressing it closes the message, too.
    void showModalMessageWithButton( const std::string& message, NotificationType type, const std::string& buttonName,
        std::function<void()> onButtonClick );
    /// Asks a question that has to be answered. Further ones wait for their turn.
    void ask( Question question );
    /// Shows a note; this menu has no place for it and writes it to the log.
    virtual void pushNotification( const RibbonNotification& notification );
    /// Takes the note of a key away.
    virtual void removeNotification( const std::string& key );

    /// Draws one frame: what `drawCallback` draws, and over it the dialogs that have to be answered.
    void draw() override;

    /// Draws the windows of one frame; a menu derived from this one installs its own in `init`.
    std::function<void()> drawCallback;

    /// Draws what stands over the scene without being a panel: the axes in the corner, and a hint in an empty scene.
    virtual void draw_helpers();

    /// How much larger than at 96 dots an inch the interface is drawn: the monitor's scale times the user's choice. A
    /// frame keeps the one that it began with, `UI::scale`.
    [[nodiscard]] float menu_scaling() const override;
    /// The user's factor on the monitor's scale, 0.5 to 3; it is kept in the settings.
    [[nodiscard]] float userScaling() const { return userScaling_; }
    void setUserScaling( float factor );

    [[nodiscard]] RibbonFontManager& fontManager() override { return fonts_; }
    /// Starts to rasterise the fonts on another thread, for a window that is being opened on a screen of this scale.
    void loadFontsAhead( float screenScale ) override;
    /// Keeps unsaved work for the case of a crash; null before `init`, and where only pictures are drawn.
    [[nodiscard]] Autosave* autosave() { return autosave_.get(); }
    /// Null until shortcuts were first set up.
    [[nodiscard]] const std::shared_ptr<ShortcutManager>& getShortcutManager() const { return shortcuts_; }
    void showShortcutSheet();

    /// What is done with files chosen to be opened.
    void setOpenAction( FilesAction open );
    void openFileDialog();
    /// Asks for files, whatever their kind, that something else is done with.
    void openFileDialog( FilesAction chosen );
    /// Asks for a file to write; see `FileDialog::save`.
    void saveFileDialog( const std::string& suggestedName, const std::string& extension,
        std::function<void( const std::filesystem::path& )> chosen );

    /// A click in the scene: selects an object (null: none), adding to the selection where asked.
    void onSceneClick( Object* object, bool add ) override;

    /// What the interface takes from the scene at the left and at the upper edge, in pixels.
    [[nodiscard]] Vector2f coveredPixels() const override { return {}; }

    /// Without it shortcuts and the 3D mouse do nothing: for a screen that covers the whole menu.
    void allowInput( bool allow ) { inputAllowed_ = allow; }
    [[nodiscard]] bool isInputAllowed() const { return inputAllowed_; }

    /// Whether a dialog stands that has to be answered first.
    [[nodiscard]] virtual bool isModalShown() const;

protected:
    [[nodiscard]] Viewer& viewer_() const { return *viewerPtr_; }
    [[nodiscard]] bool hasViewer_() const { return viewerPtr_ != nullptr; }

    /// Escape was pressed and no window wanted it.
    virtual void onEscape_();
    /// What the user reads for a shortcut's command; here its name.
    [[nodiscard]] virtual std::string captionOf_( const std::string& command ) const { return command; }

    bool onMouseDown_( MouseButton button, int modifiers ) override;
    bool onMouseMove_( Vector2f position ) override;
    bool onMouseUp_( MouseButton button, int modifiers ) override;
    bool onMouseScroll_( float steps ) override;
    void onCursorEntrance_( bool entered ) override;
    bool onCharPressed_( unsigned codePoint, int modifiers ) override;
    bool onKeyDown_( int key, int modifiers ) override;
    bool onKeyUp_( int key, int modifiers ) override;
    bool onKeyRepeat_( int key, int modifiers ) override;
    bool onSpaceMouseMove_( Vector3f shift, Vector3f turn ) override;
    bool onSpaceMouseDown_( int button ) override;
    bool onTouchpadRotateGestureBegin_() override;
    bool onTouchpadRotateGestureUpdate_( float angle ) override;
    bool onTouchpadRotateGestureEnd_() override;
    bool onTouchpadSwipeGestureBegin_() override;
    bool onTouchpadSwipeGestureUpdate_( Vector2f delta, bool kinetic ) override;
    bool onTouchpadSwipeGestureEnd_() override;
    bool onTouchpadZoomGestureBegin_() override;
    bool onTouchpadZoomGestureUpdate_( float factor, bool kinetic ) override;
    bool onTouchpadZoomGestureEnd_() override;
    void onPostResize_( int width, int height ) override;
    void onPostRescale_( float scale ) override;

    std::shared_ptr<ShortcutManager> shortcuts_;

private:
    struct Dialogs;

    void connectListeners_();
    [[nodiscard]] bool isSceneFree_() const;
    bool processKey_( int key, int modifiers, bool repeated );

    Viewer* viewerPtr_ = nullptr;
    RibbonFontManager fonts_;
    float userScaling_ = 1;
    bool inputAllowed_ = true;
    FilesAction open_;
    std::unique_ptr<Dialogs> dialogs_;
    std::unique_ptr<Autosave> autosave_;
};

/// The menu of this process's viewer, or null.
[[nodiscard]] VXVIEWER_API ImGuiMenu* currentMenu();

} // namespace VX
