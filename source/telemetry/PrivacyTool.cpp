#include "PrivacyText.h"

#include <VXOrvanta/telemetry/PageText.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <sstream>

namespace VX
{
namespace
{

void draw( const PageLine& line )
{
    switch ( line.kind )
    {
    case PageLine::Kind::Gap:
        ImGui::Dummy( { 0, 2 * UI::scale() } );
        break;
    case PageLine::Kind::Heading:
        UI::text( RibbonFontManager::FontType::SemiBold, line.text );
        break;
    case PageLine::Kind::Bullet:
        ImGui::Bullet();
        UI::wrapped( themeVec4( ColorTheme::Text ), line.text );
        break;
    case PageLine::Kind::Text:
        UI::wrapped( themeVec4( ColorTheme::Text ), line.text );
        break;
    }
}

std::vector<PageLine> linesOfPrivacy()
{
    std::istringstream text( cPrivacyText );
    return pageLines( text );
}

/// Shows what is sent about the use of the program, in words that are built in.
class PrivacyTool final : public RibbonMenuItem
{
public:
    using RibbonMenuItem::RibbonMenuItem;
    bool action() override
    {
        open_ = !open_;
        redraw();
        return true;
    }
    [[nodiscard]] bool isActive() const override { return open_; }
    void drawDialog() override
    {
        static const auto sLines = linesOfPrivacy();
        if ( UI::beginToolDialog( "Privacy", &open_, 460 ) )
            for ( const auto& line : sLines )
                draw( line );
        ImGui::End();
    }

private:
    bool open_ = false;
};

const RibbonItemRegistrar<PrivacyTool> sPrivacy( "Privacy" );

} // namespace
} // namespace VX
