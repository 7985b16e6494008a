#include <VXMesh/formats/VolumeFormats.h>
#include <VXMesh/io/Path.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/draw/SlicePicture.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/slices/RawPreview.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/work/ProgressBar.h>

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

namespace VX
{
namespace
{

constexpr const char* cName = "Raw voxels";

/// Reads the file under the progress bar, and puts it into the scene.
void open( const std::filesystem::path& file, const RawVolume& raw )
{
    ProgressBar::orderWithMainThreadPostProcessing( "Opening " + utf8string( file.filename() ),
        [file, raw]() -> ProgressBar::PostProcessing
        {
            const auto loaded = loadRaw( file, raw, ProgressBar::jobProgress() );
            if ( !loaded )
                throw loaded.error();
            return [objects = loaded->objects]
            {
                SceneEdits::addOpened( "Open raw voxels", objects );
                if ( auto* menu = currentRibbonMenu() )
                    menu->startTool( "Slices" );
                fitViewToScene();
            };
        } );
}

/// Asks what a file of bare voxels has in it, and shows a slice of it meanwhile.
class OpenRaw final : public StatePlugin
{
public:
    OpenRaw()
        : StatePlugin( cName )
    {
    }

    static void ask( const std::filesystem::path& file )
    {
        sAsked = file;
        if ( auto* menu = currentRibbonMenu() )
            menu->startTool( cName );
    }

    void drawDialog() override
    {
        bool isOpen = true;
        bool done = false;
        if ( UI::beginToolDialog( "Open raw voxels", &isOpen, 340 ) )
        {
            UI::colored( themeVec4( ColorTheme::DimText ),
                UI::fitted( utf8string( preview_->file().filename() ), ImGui::GetContentRegionAvail().x ) );
            drawDescription_();
            drawSlice_();
            done = drawEnd_();
        }
        ImGui::End();
        if ( done )
            open( preview_->file(), preview_->raw() );
        if ( done || !isOpen )
            enable( false );
    }

private:
    void drawDescription_()
    {
        ImGui::PushItemWidth( 190 * UI::scale() );
        RawVolume raw = preview_->raw();
        drawGuesses_( raw );
        drawSize_( raw );
        int type = int( raw.type );
        if ( UI::combo( "Values", &type, typeNames_() ) )
            raw.type = VoxelType( type );
        int order = raw.order == std::endian::big ? 1 : 0;
        if ( UI::combo( "Bytes", &order, { "Little endian", "Big endian" } ) )
            raw.order = order == 1 ? std::endian::big : std::endian::little;
        int header = int( std::min<uint64_t>( raw.headerBytes, INT32_MAX ) );
        if ( UI::drag( "Header, bytes", &header, 1, 0, INT32_MAX ) )
            raw.headerBytes = uint64_t( header );
        drawSpacing_( raw );
        ImGui::PopItemWidth();
        preview_->describe( raw );
    }

    void drawGuesses_( RawVolume& raw ) const
    {
        const auto& guesses = preview_->guesses();
        if ( guesses.empty() )
            return;
        std::vector<std::string> names;
        names.reserve( guesses.size() + 1 );
        for ( const auto& guess : guesses )
            names.push_back( describe( guess ) );
        names.emplace_back( "By hand" );
        int chosen = int( std::find( guesses.begin(), guesses.end(), raw ) - guesses.begin() );
        if ( UI::combo( "Like", &chosen, names ) && size_t( chosen ) < guesses.size() )
            raw = guesses[size_t( chosen )];
    }

    /// Three fields side by side, in the room of one.
    template <typename Field>
    static void drawThree_( const char* label, const Field& field )
    {
        const float gap = ImGui::GetStyle().ItemInnerSpacing.x;
        const float width = std::floor( ( ImGui::CalcItemWidth() - 2 * gap ) / 3 );
        ImGui::PushItemWidth( width );
        for ( const char* id : { "##x", "##y", "##z" } )
        {
            ImGui::PushID( label );
            field( id, size_t( id[2] - 'x' ) );
            ImGui::PopID();
            ImGui::SameLine( 0, gap );
        }
        ImGui::PopItemWidth();
        ImGui::TextUnformatted( label );
    }

    static void drawSize_( RawVolume& raw )
    {
        drawThree_( "Size", [&]( const char* id, size_t axis ) { UI::drag( id, &raw.size[axis], 0.5f, 1, 1 << 20 ); } );
    }

    static void drawSpacing_( RawVolume& raw )
    {
        const std::array<double*, 3> values{ &raw.spacing.x, &raw.spacing.y, &raw.spacing.z };
        drawThree_( "Spacing",
            [&]( const char* id, size_t axis )
            {
                auto shown = float( *values[axis] );
                if ( UI::drag( id, &shown, shown * 0.01f, 1e-6f, 1e6f, "%.4g" ) )
                    *values[axis] = double( shown );
            } );
    }

    static const std::vector<std::string>& typeNames_()
    {
        static const auto sNames = []
        {
            std::vector<std::string> out;
            for ( int i = 0; i < cVoxelTypes; ++i )
                out.emplace_back( nameOf( VoxelType( i ) ) );
            return out;
        }();
        return sNames;
    }

    void drawSlice_()
    {
        const float width = ImGui::GetContentRegionAvail().x, height = 180 * UI::scale();
        const ImVec2 low = ImGui::GetCursorScreenPos(), high{ low.x + width, low.y + height };
        ImGui::Dummy( { width, height } );
        auto& list = *ImGui::GetWindowDrawList();
        list.AddRectFilled( low, high, IM_COL32_BLACK );
        const auto& volume = preview_->picture();
        if ( volume )
        {
            const GLuint texture = picture_.get( volume, SliceDirection::Axial, 0 );
            const auto& spacing = volume->grid().spacing;
            const float across = float( spacing.x ) * float( volume->size()[0] ),
                        down = float( spacing.y ) * float( volume->size()[1] );
            const float fit = std::min( width / across, height / down ) / 2;
            const ImVec2 middle{ ( low.x + high.x ) / 2, ( low.y + high.y ) / 2 };
            list.AddImage( ImTextureID( intptr_t( texture ) ), { middle.x - across * fit, middle.y - down * fit },
                { middle.x + across * fit, middle.y + down * fit } );
        }
        int slice = preview_->slice() + 1;
        ImGui::SetNextItemWidth( 190 * UI::scale() );
        if ( UI::drag( "Slice shown", &slice, 0.2f, 1, preview_->raw().size[2] ) )
            preview_->look( slice - 1 );
    }

    [[nodiscard]] bool drawEnd_() const
    {
        const auto problem = preview_->problem();
        const auto fits = fmt::format( "{} bytes of {}", UI::formatCount( preview_->raw().fileBytes() ),
            UI::formatCount( preview_->fileBytes() ) );
        UI::wrapped(
            themeVec4( problem.empty() ? ColorTheme::DimText : ColorTheme::Error ), problem.empty() ? fits : problem );
        return UI::button( "Open", { ImGui::GetContentRegionAvail().x, 0 },
            { .enabled = problem.empty(), .enterKey = !ImGui::IsAnyItemActive() } );
    }

    bool onEnable_() override
    {
        if ( sAsked.empty() )
            return false;
        preview_.emplace( std::exchange( sAsked, {} ) );
        return true;
    }
    void onDisable_() override
    {
        preview_.reset();
        picture_ = {};
    }

    static inline std::filesystem::path sAsked;
    std::optional<RawPreview> preview_;
    SlicePicture picture_;
};

const RibbonItemRegistrar<OpenRaw> cRegistrar;

void openFirst( const std::vector<std::filesystem::path>& files )
{
    if ( !files.empty() )
        OpenRaw::ask( files.front() );
}

const FunctionItemRegistrar cOpenRaw(
    FunctionItemParams{ "Open RAW voxels", [] { currentMenu()->openFileDialog( &openFirst ); }, {}, {} } );
const FunctionItemRegistrar cOpenTiff(
    FunctionItemParams{ "Open TIFF stack", [] { currentMenu()->openFileDialog(); }, {}, {} } );

} // namespace
} // namespace VX
