#include <VXOrvanta/account/form/AuthForm.h>

#include <VXOrvanta/account/form/FormLayout.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/TextField.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <algorithm>
#include <cmath>

namespace VX
{
namespace
{

constexpr float cCaptionWidth = 104, cButtonWidth = 220, cButtonHeight = 34;
constexpr float cMark = 8;
constexpr int cMessageLines = 2, cParagraphLines = 4;
// So dark that pure red and pure green can both be read on it, in any theme.
constexpr ImU32 cRuleGround = IM_COL32( 12, 12, 12, 255 );
// Nobody reads more, and laying megabytes out in each frame would stop the program.
constexpr size_t cLongestMessage = 2000;
const ImVec4 cLinkColor{ 60 / 255.f, 120 / 255.f, 1, 1 };

/// A check mark or a cross, so that nobody has to tell red from green.
void drawMark( ImVec2 low, float size, bool met, ImU32 color )
{
    auto& list = *ImGui::GetWindowDrawList();
    const float right = low.x + size, bottom = low.y + size, thickness = size * 0.22f;
    if ( met )
    {
        const ImVec2 points[] = { { low.x, low.y + size * 0.55f }, { low.x + size * 0.38f, low.y + size * 0.9f },
            { right, low.y + size * 0.1f } };
        return list.AddPolyline( points, 3, color, 0, thickness );
    }
    list.AddLine( low, { right, bottom }, color, thickness );
    list.AddLine( { low.x, bottom }, { right, low.y }, color, thickness );
}

} // namespace

void AuthForm::begin( const Vector2f& windowSize, const Vector2f& padding, float scaling, bool mayFocus )
{
    scaling_ = scaling;
    padding_ = padding.x;
    innerWidth_ = windowSize.x - 2 * padding.x;
    innerHeight_ = windowSize.y - 2 * padding.y;
    gap_ = allowedGap( gap_, scaling );
    mayFocus_ = mayFocus;
    rows_ = 0;
    ImGui::SetCursorPosY( ImGui::GetCursorPosY() + offset_ );
    top_ = ImGui::GetCursorPosY();
    style_.emplace( std::initializer_list<StyleScope::Entry>{
        { ImGuiStyleVar_ItemSpacing, { ImGui::GetStyle().ItemSpacing.x, gap_ } },
        { ImGuiStyleVar_FramePadding, { 8 * scaling, 5 * scaling } } } );
}

void AuthForm::end()
{
    style_.reset();
    if ( rows_ < 2 )
        return;
    const float rows = ImGui::GetCursorPosY() - gap_ - top_ - float( rows_ - 1 ) * gap_;
    const auto places = placeRows( innerHeight_, rows, rows_, scaling_ );
    if ( places != RowPlaces{ gap_, offset_ } )
        redraw();
    gap_ = places.gap;
    offset_ = places.offset;
}

void AuthForm::row_()
{
    ++rows_;
}

void AuthForm::center_( float width ) const
{
    ImGui::SetCursorPosX( padding_ + std::max( 0.f, std::round( ( innerWidth_ - width ) * 0.5f ) ) );
}

void AuthForm::title( const std::string& text )
{
    row_();
    const auto shown = beginningOf( text, cLongestMessage );
    {
        const FontScope font( RibbonFontManager::FontType::Headline );
        if ( const float width = ImGui::CalcTextSize( shown.c_str() ).x; width <= innerWidth_ )
        {
            center_( width );
            ImGui::TextUnformatted( shown.c_str() );
            return;
        }
    }
    const FontScope font( RibbonFontManager::FontType::Big );
    ImGui::TextWrapped( "%s", shown.c_str() );
}

void AuthForm::paragraph( const std::string& text )
{
    row_();
    const auto shown = beginningOf( text, cLongestMessage );
    const float wanted = ImGui::CalcTextSize( shown.c_str(), nullptr, false, innerWidth_ ).y;
    const float most = cParagraphLines * ImGui::GetTextLineHeight();
    if ( wanted <= most + 1 )
        return UI::wrapped( ImGui::GetStyleColorVec4( ImGuiCol_Text ), shown );
    const StyleScope style( { { ImGuiCol_ChildBg, ImVec4{} } } );
    ImGui::BeginChild( "##paragraph", { innerWidth_, most } );
    UI::wrapped( ImGui::GetStyleColorVec4( ImGuiCol_Text ), shown );
    ImGui::EndChild();
}

void AuthForm::field( const char* caption, std::string& value, bool masked, bool focus )
{
    row_();
    ImGui::AlignTextToFramePadding();
    ImGui::TextUnformatted( caption );
    ImGui::SameLine( padding_ + cCaptionWidth * scaling_ );
    ImGui::SetNextItemWidth( innerWidth_ - cCaptionWidth * scaling_ );
    if ( focus && mayFocus_ )
        ImGui::SetKeyboardFocusHere();
    ImGui::PushID( caption );
    {
        const StyleScope style( { { ImGuiStyleVar_FrameBorderSize, 1 } } );
        UI::textField( "##field", value, { .masked = masked, .selectAll = masked } );
    }
    ImGui::PopID();
}

void AuthForm::checkbox( const char* caption, bool& value )
{
    row_();
    UI::checkbox( caption, &value );
}

void AuthForm::rules( const std::vector<std::pair<const char*, bool>>& rules )
{
    row_();
    const FontScope font( RibbonFontManager::FontType::Small );
    const float pad = std::round( 6 * scaling_ ), gap = std::round( 4 * scaling_ ), mark = cMark * scaling_;
    float width = 2 * pad;
    for ( const auto& [text, met] : rules )
        width += mark + gap + ImGui::CalcTextSize( text ).x;
    const float space = std::max( 0.f, ( innerWidth_ - width ) / float( rules.size() - 1 ) );
    const ImVec2 low = ImGui::GetCursorScreenPos();
    const float height = ImGui::GetFontSize() + 2 * gap;
    auto& list = *ImGui::GetWindowDrawList();
    list.AddRectFilled( low, { low.x + innerWidth_, low.y + height }, cRuleGround, gap );
    float x = std::round( low.x + pad );
    for ( const auto& [text, met] : rules )
    {
        const ImU32 color = met ? IM_COL32( 0, 255, 0, 255 ) : IM_COL32( 255, 0, 0, 255 );
        drawMark( { x, std::round( low.y + ( height - mark ) / 2 ) }, mark, met, color );
        x = std::round( x + mark + gap );
        list.AddText( { x, low.y + gap }, color, text );
        x += ImGui::CalcTextSize( text ).x + space;
    }
    ImGui::Dummy( { innerWidth_, height } );
}

bool AuthForm::mainButton( const char* caption )
{
    row_();
    center_( cButtonWidth * scaling_ );
    return UI::button( caption, { cButtonWidth * scaling_, cButtonHeight * scaling_ }, { .enterKey = true } );
}

void AuthForm::centered_( const std::string& text, const ImVec4& color, float width )
{
    const float wanted = ImGui::CalcTextSize( text.c_str(), nullptr, false, width ).x;
    ImGui::SetCursorPosX( std::max( 0.f, std::round( ( width - wanted ) * 0.5f ) ) );
    UI::wrapped( color, text );
}

void AuthForm::message( const std::string& text, const std::string& reason, const std::string& status )
{
    row_();
    const auto shown = beginningOf( text.empty() ? status : text, cLongestMessage );
    const float height = cMessageLines * ImGui::GetTextLineHeight();
    if ( shown.empty() )
        return ImGui::Dummy( { innerWidth_, height } );
    const auto heightOf = [&]( const std::string& part )
    { return part.empty() ? 0 : ImGui::CalcTextSize( part.c_str(), nullptr, false, innerWidth_ ).y; };
    const bool scrolls = heightOf( shown ) + heightOf( reason ) > height + 1;
    const StyleScope style( { { ImGuiCol_ChildBg, ImVec4{} } } );
    ImGui::BeginChild( "##message", { innerWidth_, height }, false,
        scrolls ? 0 : ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoNav );
    {
        const StyleScope tight( { { ImGuiStyleVar_ItemSpacing, ImVec2{} } } );
        const float width = ImGui::GetContentRegionAvail().x;
        centered_( shown, themeVec4( text.empty() ? ColorTheme::Good : ColorTheme::Error ), width );
        if ( !text.empty() && !reason.empty() )
            centered_( reason, themeVec4( ColorTheme::DimText ), width );
    }
    ImGui::EndChild();
}

void AuthForm::detail( const std::string& text )
{
    if ( text.empty() )
        return;
    row_();
    const auto shown = beginningOf( text, cLongestMessage );
    center_( ImGui::CalcTextSize( shown.c_str(), nullptr, false, innerWidth_ ).x );
    UI::wrapped( themeVec4( ColorTheme::DimText ), shown );
}

bool AuthForm::link( const std::string& before, const char* link, const std::string& after, bool atRight )
{
    const float space = ImGui::CalcTextSize( " " ).x;
    const auto widthOf = [&]( const std::string& text )
    { return text.empty() ? 0 : ImGui::CalcTextSize( text.c_str() ).x + space; };
    const float width = widthOf( before ) + ImGui::CalcTextSize( link ).x + widthOf( after );
    if ( atRight )
        ImGui::SameLine( padding_ + innerWidth_ - width );
    else
    {
        row_();
        center_( width );
    }
    if ( !before.empty() )
    {
        ImGui::TextUnformatted( before.c_str() );
        ImGui::SameLine( 0, space );
    }
    const bool pressed = UI::link( link, cLinkColor );
    if ( !after.empty() )
    {
        ImGui::SameLine( 0, space );
        ImGui::TextUnformatted( after.c_str() );
    }
    return pressed;
}

} // namespace VX
