#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/SceneView.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/menu/SavedNotice.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/window/Window.h>

#include <imgui.h>

#include <algorithm>
#include <optional>

namespace VX
{
namespace
{

ImGuiMenu& menu()
{
    return *getViewerInstance().getMenuPlugin();
}

/// Takes the picture before a file is asked for, so that it is what the user saw then.
void takeAndSave( const PictureParams& params )
{
    auto picture = getViewerInstance().takePicture( params );
    if ( !picture )
        return menu().showModalMessage( picture.error(), NotificationType::Error );
    menu().saveFileDialog( "picture", ".png",
        [image = std::make_shared<Image>( std::move( *picture ) )]( const std::filesystem::path& file )
        { tellSaved( savePng( file, *image ), file ); } );
    // The field of the name has the keyboard a frame after the dialog has come.
    redraw( 3 );
}

/// Asks for the size of a picture and saves it; what is chosen is kept while the program runs.
class PictureTool final : public StatePlugin
{
public:
    PictureTool()
        : StatePlugin( "Save picture" )
    {
    }

    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override
    {
        return { { { 'P', ControlModifier }, ShortcutManager::Category::Scene } };
    }
    [[nodiscard]] bool blocking() const override { return false; }

    void drawDialog() override
    {
        const float scale = UI::scale();
        bool open = true;
        if ( UI::beginToolDialog( "Save picture", &open, 270 ) )
        {
            ImGui::PushItemWidth( 120 * scale );
            drawSize_();
            ImGui::PopItemWidth();
            UI::checkbox( "Transparent background", &transparent_ );
            ImGui::Dummy( { 0, 4 * scale } );
            if ( UI::button(
                     "Save...", { ImGui::GetContentRegionAvail().x, 0 }, { .enterKey = !ImGui::IsAnyItemActive() } ) )
                save_();
        }
        ImGui::End();
        if ( !open )
            enable( false );
    }

private:
    struct Size
    {
        int width;
        int height;
    };

    static Size ofView_()
    {
        const auto free = getViewerInstance().freeSize();
        return { std::clamp( int( free.x ), 1, SceneView::cMaxPictureSide ),
            std::clamp( int( free.y ), 1, SceneView::cMaxPictureSide ) };
    }

    /// As large as the view, until the user wants another size.
    void drawSize_()
    {
        Size size = chosen_ ? *chosen_ : ofView_();
        const bool width = UI::drag( "Width", &size.width, 4, 16, SceneView::cMaxPictureSide );
        if ( UI::drag( "Height", &size.height, 4, 16, SceneView::cMaxPictureSide ) || width )
            chosen_ = size;
    }

    void save_()
    {
        const Size size = chosen_ ? *chosen_ : ofView_();
        const PictureParams params{ size.width, size.height, transparent_ };
        enable( false );
        // Drawn between two frames, and the key that has pressed the button is none of the next dialog's.
        CommandLoop::appendCommand( [params] { takeAndSave( params ); } );
    }

    std::optional<Size> chosen_;
    bool transparent_ = false;
};

const RibbonItemRegistrar<PictureTool> cRegistrar;

} // namespace
} // namespace VX
