#include <VXViewer/menu/ImGuiMenu.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/dialogs/FileDialog.h>
#include <VXViewer/dialogs/ModalMessage.h>
#include <VXViewer/dialogs/ProgressModal.h>
#include <VXViewer/dialogs/QuestionDialog.h>
#include <VXViewer/dialogs/ShortcutSheet.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/AxisTriad.h>
#include <VXViewer/menu/RecoveryOffer.h>
#include <VXViewer/menu/TurnMark.h>
#include <VXViewer/menu/UnsavedWork.h>
#include <VXViewer/scene/Autosave.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <imgui.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr const char* cUserScalingKey = "interfaceScale";

float readUserScaling()
{
    const auto value = Config::instance().getJsonValue( cUserScalingKey );
    return value.isNumeric() ? std::clamp( value.asFloat(), 0.5f, 3.f ) : 1.f;
}

} // namespace

struct ImGuiMenu::Dialogs
{
    QuestionDialog question;
    ModalMessage modal;
    FileDialog file;
    ShortcutSheet shortcuts;
    boost::signals2::scoped_connection closing, failures;
};

ImGuiMenu* currentMenu()
{
    return getViewerInstance().getMenuPlugin().get();
}

ImGuiMenu::ImGuiMenu()
    : dialogs_( std::make_unique<Dialogs>() )
{
}

ImGuiMenu::~ImGuiMenu() = default;

void Viewer::setMenuPlugin( std::shared_ptr<ImGuiMenu> menu )
{
    ViewerMenu* const asked = menu.get();
    takeMenu_( std::move( menu ), asked );
}

void ImGuiMenu::connectListeners_()
{
    disconnect();
    Viewer* viewer = viewerPtr_;
    MouseDownListener::connect( viewer, InterfaceListeners );
    MouseMoveListener::connect( viewer, InterfaceListeners );
    MouseUpListener::connect( viewer, InterfaceListeners );
    MouseScrollListener::connect( viewer, InterfaceListeners );
    CursorEntranceListener::connect( viewer, InterfaceListeners );
    CharPressedListener::connect( viewer, InterfaceListeners );
    KeyDownListener::connect( viewer, InterfaceListeners );
    KeyUpListener::connect( viewer, InterfaceListeners );
    KeyRepeatListener::connect( viewer, InterfaceListeners );
    SpaceMouseMoveListener::connect( viewer, InterfaceListeners );
    SpaceMouseDownListener::connect( viewer, InterfaceListeners );
    TouchpadRotateGestureBeginListener::connect( viewer, InterfaceListeners );
    TouchpadRotateGestureUpdateListener::connect( viewer, InterfaceListeners );
    TouchpadRotateGestureEndListener::connect( viewer, InterfaceListeners );
    TouchpadSwipeGestureBeginListener::connect( viewer, InterfaceListeners );
    TouchpadSwipeGestureUpdateListener::connect( viewer, InterfaceListeners );
    TouchpadSwipeGestureEndListener::connect( viewer, InterfaceListeners );
    TouchpadZoomGestureBeginListener::connect( viewer, InterfaceListeners );
    TouchpadZoomGestureUpdateListener::connect( viewer, InterfaceListeners );
    TouchpadZoomGestureEndListener::connect( viewer, InterfaceListeners );
    PostResizeListener::connect( viewer, InterfaceListeners );
    PostRescaleListener::connect( viewer, InterfaceListeners );
}

void ImGuiMenu::init( Viewer* viewer )
{
    viewerPtr_ = viewer;
    userScaling_ = readUserScaling();
    connectListeners_();
    setupShortcuts_();
    if ( !viewer->isForPicturesOnly() )
        autosave_ = std::make_unique<Autosave>( *viewer, getUserStateDir() / "recovery" );
    drawCallback = [this] { draw_helpers(); };
    dialogs_->closing = viewer->signals().closeRequest.connect( InterfaceListeners,
        [viewer]
        {
            UnsavedWork::leave( [viewer] { viewer->close(); } );
            return true;
        } );
    dialogs_->shortcuts.captionOf = [this]( const std::string& command ) { return captionOf_( command ); };
    dialogs_->failures = ProgressBar::failedSignal().connect(
        [this]( const std::string& text ) { showModalMessage( text, NotificationType::Error ); } );
    // After the first frame of what a product has queued before, such as a screen that covers the scene.
    CommandLoop::appendCommand( [] { CommandLoop::appendCommand( &offerRecovery ); } );
}

void ImGuiMenu::shutdown()
{
    disconnect();
    drawCallback = nullptr;
    dialogs_ = std::make_unique<Dialogs>();
}

bool ImGuiMenu::finish( std::chrono::milliseconds patience )
{
    const bool clean = !autosave_ || autosave_->finish( patience );
    autosave_.reset();
    return clean;
}

void ImGuiMenu::setupShortcuts_()
{
    shortcuts_ = std::make_shared<ShortcutManager>( ShortcutManager::Commands{
        { { GLFW_KEY_F1, 0 }, { ShortcutManager::Category::Info, "Show shortcuts", [this] { showShortcutSheet(); } } },
        { { GLFW_KEY_ESCAPE, 0 }, { ShortcutManager::Category::Info, "Leave", [this] { onEscape_(); } } } } );
}

void ImGuiMenu::showModalMessage( const std::string& message, NotificationType type )
{
    dialogs_->modal.push( message, type );
    redraw();
}

void ImGuiMenu::ask( Question question )
{
    dialogs_->question.push( std::move( question ) );
    if ( Window* window = getViewerInstance().window() )
        window->raise();
}

void ImGuiMenu::pushNotification( const RibbonNotification& notification )
{
    spdlog::info( "{}: {}", notification.header, notification.text );
}

void ImGuiMenu::removeNotification( const std::string& ) {}

void ImGuiMenu::showModalMessageWithButton( const std::string& message, NotificationType type,
    const std::string& buttonName, std::function<void()> onButtonClick )
{
    // Through the virtual one: what a menu does with messages, it does with this one.
    showModalMessage( message, type );
    dialogs_->modal.addButton( message, type, buttonName, std::move( onButtonClick ) );
}

void ImGuiMenu::draw()
{
    if ( drawCallback )
        drawCallback();
    // Before all others, which come back when it is answered: the window may be closed while work goes on.
    if ( dialogs_->question.isShown( isSceneFree_() ) )
        return dialogs_->question.draw( isSceneFree_() );
    if ( shortcuts_ )
        dialogs_->shortcuts.draw( *shortcuts_ );
    dialogs_->file.draw();
    ProgressModal::draw();
    dialogs_->modal.draw();
}

void ImGuiMenu::draw_helpers()
{
    AxisTriad::draw( viewer_().camera() );
    TurnMark::draw( viewer_().camera(), viewer_().turningPoint() );
}

float ImGuiMenu::menu_scaling() const
{
    return getViewerInstance().scale() * userScaling_;
}

void ImGuiMenu::loadFontsAhead( float screenScale )
{
    fonts_.loadAhead( screenScale * readUserScaling() );
}

void ImGuiMenu::setUserScaling( float factor )
{
    userScaling_ = std::clamp( factor, 0.5f, 3.f );
    Config::instance().setJsonValue( cUserScalingKey, userScaling_ );
    redraw( 3 );
}

void ImGuiMenu::showShortcutSheet()
{
    dialogs_->shortcuts.open();
    redraw();
}

void ImGuiMenu::setOpenAction( FilesAction open )
{
    open_ = std::move( open );
}

void ImGuiMenu::openFileDialog()
{
    if ( open_ )
        dialogs_->file.open( open_ );
}

void ImGuiMenu::openFileDialog( FilesAction chosen )
{
    dialogs_->file.openAny( std::move( chosen ) );
}

void ImGuiMenu::saveFileDialog( const std::string& suggestedName, const std::string& extension,
    std::function<void( const std::filesystem::path& )> chosen )
{
    dialogs_->file.save( suggestedName, extension, std::move( chosen ) );
}

void ImGuiMenu::onSceneClick( Object* object, bool add )
{
    if ( add && object )
        object->select( !object->isSelected() );
    else
        forEachObject( viewer_().sceneRoot(), [&]( Object& other ) { other.select( &other == object ); } );
}

bool ImGuiMenu::isSceneFree_() const
{
    return inputAllowed_ && !dialogs_->modal.isShown() && !dialogs_->file.isShown() && !dialogs_->shortcuts.isShown() &&
           !ProgressModal::isShown();
}

bool ImGuiMenu::isModalShown() const
{
    return dialogs_->question.isShown( isSceneFree_() ) || dialogs_->modal.isShown() || dialogs_->file.isShown() ||
           dialogs_->shortcuts.isShown() || ProgressModal::isShown();
}

void ImGuiMenu::onEscape_()
{
    onSceneClick( nullptr, false );
}

bool ImGuiMenu::processKey_( int key, int modifiers, bool repeated )
{
    if ( !inputAllowed_ || isModalShown() || ImGui::GetIO().WantTextInput )
        return true;
    // An open popup has Escape and the arrows for itself.
    if ( ImGui::IsPopupOpen( "", ImGuiPopupFlags_AnyPopupId | ImGuiPopupFlags_AnyPopupLevel ) )
        return true;
    return shortcuts_ && shortcuts_->processShortcut( { key, modifiers }, repeated );
}

bool ImGuiMenu::onMouseDown_( MouseButton, int )
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onMouseMove_( Vector2f )
{
    // A drag that began in the scene goes on over the windows.
    return false;
}

bool ImGuiMenu::onMouseUp_( MouseButton, int )
{
    return false;
}

bool ImGuiMenu::onMouseScroll_( float )
{
    return ImGui::GetIO().WantCaptureMouse;
}

void ImGuiMenu::onCursorEntrance_( bool ) {}

bool ImGuiMenu::onCharPressed_( unsigned, int )
{
    return ImGui::GetIO().WantTextInput;
}

bool ImGuiMenu::onKeyDown_( int key, int modifiers )
{
    return processKey_( key, modifiers, false );
}

bool ImGuiMenu::onKeyUp_( int, int )
{
    return false;
}

bool ImGuiMenu::onKeyRepeat_( int key, int modifiers )
{
    return processKey_( key, modifiers, true );
}

bool ImGuiMenu::onSpaceMouseMove_( Vector3f, Vector3f )
{
    return !inputAllowed_ || isModalShown();
}

bool ImGuiMenu::onSpaceMouseDown_( int )
{
    return !inputAllowed_ || isModalShown();
}

bool ImGuiMenu::onTouchpadRotateGestureBegin_()
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onTouchpadRotateGestureUpdate_( float )
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onTouchpadRotateGestureEnd_()
{
    return false;
}

bool ImGuiMenu::onTouchpadSwipeGestureBegin_()
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onTouchpadSwipeGestureUpdate_( Vector2f, bool )
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onTouchpadSwipeGestureEnd_()
{
    return false;
}

bool ImGuiMenu::onTouchpadZoomGestureBegin_()
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onTouchpadZoomGestureUpdate_( float, bool )
{
    return ImGui::GetIO().WantCaptureMouse;
}

bool ImGuiMenu::onTouchpadZoomGestureEnd_()
{
    return false;
}

void ImGuiMenu::onPostResize_( int, int ) {}

void ImGuiMenu::onPostRescale_( float ) {}

} // namespace VX
