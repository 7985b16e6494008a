#include <VXMesh/volume/VolumeText.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/slices/SlicePane.h>
#include <VXViewer/slices/WindowPresets.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>

namespace VX
{
namespace
{

/// Of the window, at most.
constexpr float cShare = 0.34f;
constexpr float cWidth = 330;

/// A panel beside the scene list: the slices of a volume in three directions through its cursor, and which values they
/// show.
class Slices final : public StatePlugin
{
public:
    Slices()
        : StatePlugin( "Slices" )
    {
    }

    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override
    {
        return { { { 'L', 0 }, ShortcutManager::Category::View } };
    }
    [[nodiscard]] bool blocking() const override { return false; }
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& ) const override
    {
        return volumes_().empty() ? "Open a file with voxels first" : "";
    }

    void drawDialog() override
    {
        auto* menu = currentRibbonMenu();
        const auto object = shown_();
        if ( !menu || !object )
        {
            enable( false );
            return;
        }
        const float width = widthIn_( *menu );
        menu->setSidePanelWidth( width );
        // The arrow keys are the panes'.
        UI::beginSidePanel( "##slices",
            { menu->getSceneListWidth(), std::round( menu->getTopPanelHeight() * UI::scale() ) }, width,
            ImGuiWindowFlags_NoNavInputs );
        drawHead_( *object );
        drawPanes_( *object );
        drawFoot_( *object );
        UI::endSidePanel();
    }

private:
    using Volumes = std::vector<std::shared_ptr<ObjectVolume>>;

    static const Volumes& volumes_()
    {
        return SceneCache::getAllObjects<ObjectVolume, ObjectSelectivityType::Selectable>();
    }
    /// The first that is selected, else the one of before, else the first.
    std::shared_ptr<ObjectVolume> shown_()
    {
        const auto& selected = SceneCache::getAllObjects<ObjectVolume, ObjectSelectivityType::Selected>();
        const auto& all = volumes_();
        const auto former = last_.lock();
        auto out = !selected.empty()                                          ? selected.front()
                   : std::find( all.begin(), all.end(), former ) != all.end() ? former
                   : !all.empty()                                             ? all.front()
                                                                              : nullptr;
        if ( !out || !out->volume() || out->volume()->empty() )
            return nullptr;
        if ( out != former )
            presets_ = windowPresets( *out->volume() );
        last_ = out;
        return out;
    }

    static void drawHead_( const ObjectVolume& object )
    {
        const auto text = sizeText( object.volume()->size() );
        const float room =
            ImGui::GetContentRegionAvail().x - ImGui::CalcTextSize( text.c_str() ).x - ImGui::GetStyle().ItemSpacing.x;
        {
            const FontScope face( RibbonFontManager::FontType::SemiBold );
            ImGui::TextUnformatted( UI::fitted( object.name(), room ).c_str() );
        }
        ImGui::SameLine();
        UI::colored( themeVec4( ColorTheme::DimText ), text );
    }

    void drawPanes_( ObjectVolume& object )
    {
        const float gap = ImGui::GetStyle().ItemSpacing.y;
        const ImVec2 room = ImGui::GetContentRegionAvail();
        const float height = room.y - footHeight_();
        for ( size_t i = 0; i < panes_.size(); ++i )
        {
            if ( large_ && *large_ != i )
                continue;
            const float own = large_ ? height : ( height - gap * float( panes_.size() - 1 ) ) / float( panes_.size() );
            panes_[i].draw( object, { room.x, std::max( std::floor( own ), 1.f ) } );
            if ( panes_[i].wasDoubleClicked() )
            {
                large_ = large_ ? std::nullopt : std::optional( i );
                redraw();
                break;
            }
        }
    }

    static float footHeight_()
    {
        const auto& style = ImGui::GetStyle();
        return ImGui::GetTextLineHeight() + 2 * ImGui::GetFrameHeight() + 4 * style.ItemSpacing.y;
    }

    void drawFoot_( ObjectVolume& object )
    {
        drawValue_( object );
        const auto& meaning = object.volume()->meaning();
        int chosen = presets_.find( meaning.window );
        ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x );
        if ( UI::combo( "##preset", &chosen, presets_.names ) && size_t( chosen ) < presets_.windows.size() )
            object.setWindow( presets_.windows[size_t( chosen )] );
        const auto& style = ImGui::GetStyle();
        const float label = std::max( ImGui::CalcTextSize( "Level" ).x, ImGui::CalcTextSize( "Width" ).x );
        const float half = ( ImGui::GetContentRegionAvail().x - style.ItemSpacing.x ) / 2;
        const float field = half - label - style.ItemInnerSpacing.x;
        auto center = float( meaning.window.center ), wide = float( meaning.window.width );
        ImGui::SetNextItemWidth( field );
        bool changed = UI::drag( "Level", &center, wide / 200, -1e30f, 1e30f, "%.4g" );
        ImGui::SameLine( half + style.ItemSpacing.x + ImGui::GetCursorStartPos().x );
        ImGui::SetNextItemWidth( field );
        changed = UI::drag( "Width", &wide, wide / 200, 1e-9f, 1e30f, "%.4g" ) || changed;
        if ( changed )
            object.setWindow( { double( center ), double( wide ) } );
    }

    void drawValue_( const ObjectVolume& object ) const
    {
        VoxelIndex voxel = object.cursor();
        for ( const auto& pane : panes_ )
            if ( pane.hovered() )
                voxel = *pane.hovered();
        const auto& volume = *object.volume();
        const auto& unit = volume.meaning().unit;
        UI::colored(
            themeVec4( ColorTheme::DimText ), fmt::format( "{}, {}, {}", voxel[0] + 1, voxel[1] + 1, voxel[2] + 1 ) );
        const auto value = fmt::format( "{:.6g}{}{}", volume.value( voxel ), unit.empty() ? "" : " ", unit );
        ImGui::SameLine( ImGui::GetContentRegionMax().x - ImGui::CalcTextSize( value.c_str() ).x );
        ImGui::TextUnformatted( value.c_str() );
    }

    static float widthIn_( const RibbonMenu& menu )
    {
        return std::round( std::min( cWidth * menu.menu_scaling(), ImGui::GetIO().DisplaySize.x * cShare ) );
    }

    bool onEnable_() override
    {
        auto* menu = currentRibbonMenu();
        if ( !menu || !shown_() )
            return false;
        // Whoever fits the scene at once knows of the panel then.
        menu->setSidePanelWidth( widthIn_( *menu ) );
        return true;
    }
    void onDisable_() override
    {
        large_ = {};
        if ( auto* menu = currentRibbonMenu() )
            menu->setSidePanelWidth( 0 );
        redraw();
    }

    std::array<SlicePane, 3> panes_{ SlicePane( SliceDirection::Axial ), SlicePane( SliceDirection::Coronal ),
        SlicePane( SliceDirection::Sagittal ) };
    std::optional<size_t> large_;
    std::weak_ptr<ObjectVolume> last_; ///< whose the presets are
    WindowPresets presets_;
};

const RibbonItemRegistrar<Slices> cRegistrar;

} // namespace
} // namespace VX
