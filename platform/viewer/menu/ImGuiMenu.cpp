#include <VXViewer/menu/ImGuiMenu.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/menu/AxisTriad.h>
#include <VXViewer/menu/FileDialog.h>
#include <VXViewer/menu/MenuBar.h>
#include <VXViewer/menu/ModalMessage.h>
#include <VXViewer/menu/NotificationList.h>
#include <VXViewer/menu/ProgressModal.h>
#include <VXViewer/menu/SceneList.h>
#include <VXViewer/ui/Widgets.h>

#include <VXViewer/ui/Theme.h>

#include <GLFW/glfw3.h>
#include <imgui.h>

namespace VX
{

struct ImGuiMenu::Parts
{
    MenuBar menuBar;
    SceneList sceneList;
    ModalMessage modal;
    NotificationList notifications;
    FileDialog fileDialog;
    std::function<void( const std::vector<std::filesystem::path>& )> open;
};

ImGuiMenu::ImGuiMenu()
    : parts_( std::make_unique<Parts>() )
{
}

ImGuiMenu::~ImGuiMenu() = default;

void ImGuiMenu::init( Viewer* viewer )
{
    viewerPtr_ = viewer;
    drawCallback = [this]
    {
        drawMenuBar_();
        drawSceneList_();
        drawHelpers_();
        drawDialogs_();
        drawNotifications_();
    };
}

void ImGuiMenu::shutdown()
{
    drawCallback = nullptr;
}

void ImGuiMenu::draw()
{
    if ( drawCallback )
        drawCallback();
}

void ImGuiMenu::showModalMessage( const std::string& message, NotificationType type )
{
    parts_->modal.push( message, type );
    viewer_().incrementForceRedrawFrames( 2 );
}

void ImGuiMenu::pushNotification( const RibbonNotification& notification )
{
    parts_->notifications.push( notification );
    viewer_().incrementForceRedrawFrames( 2 );
}

void ImGuiMenu::addItem( const std::string& menu, MenuItem item )
{
    parts_->menuBar.add( menu, std::move( item ) );
}

void ImGuiMenu::setOpenAction( std::function<void( const std::vector<std::filesystem::path>& )> open )
{
    parts_->open = std::move( open );
}

void ImGuiMenu::openFileDialog()
{
    if ( parts_->open )
        parts_->fileDialog.open( parts_->open );
}

bool ImGuiMenu::onKeyDown( int key, int modifiers )
{
    if ( isModalShown() )
        return false;
    const bool ran = parts_->menuBar.onKeyDown( key, modifiers );
    if ( !ran && key == GLFW_KEY_ESCAPE )
        onSceneClick( nullptr, false );
    return ran;
}

void ImGuiMenu::onSceneClick( Object* object, bool add )
{
    parts_->sceneList.select( viewer_().sceneRoot(), object, add );
}

Vector2f ImGuiMenu::coveredPixels() const
{
    return { SceneList::width( menuScaling() ), ImGui::GetFrameHeight() };
}

float ImGuiMenu::menuScaling() const
{
    return viewer_().scale();
}

bool ImGuiMenu::isModalShown() const
{
    return parts_->modal.isShown() || parts_->fileDialog.isShown() || ProgressModal::isShown();
}

void ImGuiMenu::drawMenuBar_()
{
    parts_->menuBar.draw();
}

void ImGuiMenu::drawSceneList_()
{
    parts_->sceneList.draw( viewer_().sceneRoot(), menuScaling() );
}

void ImGuiMenu::drawHelpers_()
{
    AxisTriad::draw( viewer_().camera(), menuScaling() );
    if ( !viewer_().sceneRoot().children().empty() )
        return;
    const ImVec2 size = ImGui::GetIO().DisplaySize;
    auto& list = *ImGui::GetBackgroundDrawList();
    const auto line = [&]( Fonts::Face face, const char* text, float y, ImU32 color )
    {
        ImFont* font = Fonts::get( face );
        const float width = font->CalcTextSizeA( font->FontSize, FLT_MAX, 0, text ).x;
        const float center = ( size.x + SceneList::width( menuScaling() ) ) / 2;
        list.AddText( font, font->FontSize,
            { std::round( center - width / 2 ), std::round( size.y / 2 + y * menuScaling() ) }, color, text );
    };
    line( Fonts::Face::Heading, "Drop a file here", -26, ImGui::GetColorU32( ImGuiCol_Text ) );
    line( Fonts::Face::Regular, "or press Ctrl+O to open one", 6, ImGui::GetColorU32( Theme::cDimText ) );
}

void ImGuiMenu::drawDialogs_()
{
    parts_->fileDialog.draw( menuScaling() );
    ProgressModal::draw( menuScaling() );
    parts_->modal.draw( menuScaling() );
}

void ImGuiMenu::drawNotifications_()
{
    parts_->notifications.draw( menuScaling() );
}

} // namespace VX
