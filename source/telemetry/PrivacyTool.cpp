#include "PrivacyText.h"

#include <VXViewer/core/Viewer.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <sstream>
#include <vector>

namespace VX
{
namespace
{

struct Line
{
    enum class Kind
    {
        Text,
        Heading,
        Bullet,
        Gap
    };
    Kind kind;
    std::string text;
};

/// The lines of a text with Markdown's headings, paragraphs and lists. Its marks for code and emphasis are left out.
std::vector<Line> linesOf( std::istringstream in )
{
    std::vector<Line> out;
    for ( std::string line; std::getline( in, line ); )
    {
        std::erase_if( line, []( char c ) { return c == '`' || c == '*'; } );
        const bool heading = line.starts_with( "#" ), bullet = line.starts_with( "- " );
        if ( line.empty() )
            out.push_back( { Line::Kind::Gap, {} } );
        else if ( heading )
            out.push_back( { Line::Kind::Heading, line.substr( line.find_first_not_of( "# " ) ) } );
        else if ( bullet )
            out.push_back( { Line::Kind::Bullet, line.substr( 2 ) } );
        else if ( !out.empty() && ( out.back().kind == Line::Kind::Text || out.back().kind == Line::Kind::Bullet ) )
            out.back().text += " " + line.substr( line.find_first_not_of( ' ' ) );
        else
            out.push_back( { Line::Kind::Text, line } );
    }
    return out;
}

void draw( const Line& line, float scale )
{
    switch ( line.kind )
    {
    case Line::Kind::Gap:
        ImGui::Dummy( { 0, 2 * scale } );
        break;
    case Line::Kind::Heading:
        UI::text( RibbonFontManager::FontType::SemiBold, line.text );
        break;
    case Line::Kind::Bullet:
        ImGui::Bullet();
        UI::wrapped( themeVec4( ColorTheme::Text ), line.text );
        break;
    case Line::Kind::Text:
        UI::wrapped( themeVec4( ColorTheme::Text ), line.text );
        break;
    }
}

/// Shows what is sent about the use of the program, in words that are built in.
class PrivacyTool final : public RibbonMenuItem
{
public:
    using RibbonMenuItem::RibbonMenuItem;
    bool action() override
    {
        open_ = !open_;
        getViewerInstance().incrementForceRedrawFrames( 2 );
        return true;
    }
    [[nodiscard]] bool isActive() const override { return open_; }
    void drawDialog( float menuScaling ) override
    {
        static const auto sLines = linesOf( std::istringstream( cPrivacyText ) );
        if ( UI::beginToolDialog( "Privacy", &open_, 460, menuScaling ) )
            for ( const auto& line : sLines )
                draw( line, menuScaling );
        ImGui::End();
    }

private:
    bool open_ = false;
};

const RibbonItemRegistrar<PrivacyTool> sPrivacy( "Privacy" );

} // namespace
} // namespace VX
