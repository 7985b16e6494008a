#include <VXOrvanta/account/AuthForm.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>
#include <imgui_stdlib.h>

#include <algorithm>
#include <cmath>

namespace VX
{
namespace
{

constexpr float cLargestGap = 16, cSmallestGap = 4;
constexpr float cCaptionWidth = 104, cButtonWidth = 220, cButtonHeight = 34;
constexpr int cMessageLines = 3;
// Nobody reads more, and laying megabytes out in each frame would stop the program.
constexpr size_t cLongestMessage = 2000;
const ImVec4 cLinkColor{ 60 / 255.f, 120 / 255.f, 1, 1 };

/// The beginning of a text, whole UTF-8 characters only.
std::string beginning( const std::string& text, size_t most )
{
    if ( text.size() <= most )
        return text;
    size_t end = most;
    while ( end > 0 && ( static_cast<unsigned char>( text[end] ) & 0xc0 ) == 0x80 )
        --end;
    return text.substr( 0, end ) + "...";
}

} // namespace

void AuthForm::begin( const Vector2f& windowSize, const Vector2f& padding, float scaling, bool mayFocus )
{
    scaling_ = scaling;
    padding_ = padding.x;
    innerWidth_ = windowSize.x - 2 * padding.x;
    innerHeight_ = windowSize.y - 2 * padding.y;
    gap_ = std::floor( std::clamp( gap_, cSmallestGap * scaling, cLargestGap * scaling ) );
    mayFocus_ = mayFocus;
    rows_ = 0;
    ImGui::SetCursorPosY( ImGui::GetCursorPosY() + offset_ );
    top_ = ImGui::GetCursorPosY();
    ImGui::PushStyleVar( ImGuiStyleVar_ItemSpacing, { ImGui::GetStyle().ItemSpacing.x, gap_ } );
    ImGui::PushStyleVar( ImGuiStyleVar_FramePadding, { 8 * scaling, 5 * scaling } );
}

void AuthForm::end()
{
    ImGui::PopStyleVar( 2 );
    if ( rows_ < 2 )
        return;
    const float gaps = float( rows_ - 1 );
    const float rows = ImGui::GetCursorPosY() - gap_ - top_ - gaps * gap_;
    // Whole pixels, as Dear ImGui places its rows, or the two would chase each other for ever.
    const float gap =
        std::floor( std::clamp( ( innerHeight_ - rows ) / gaps, cSmallestGap * scaling_, cLargestGap * scaling_ ) );
    const float offset = std::max( 0.f, std::round( ( innerHeight_ - rows - gaps * gap ) * 0.5f ) );
    if ( std::abs( gap - gap_ ) > 0.5f || std::abs( offset - offset_ ) > 0.5f )
        getViewerInstance().incrementForceRedrawFrames( 2 );
    gap_ = gap;
    offset_ = offset;
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
    const auto shown = beginning( text, cLongestMessage );
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
    ImGui::PushTextWrapPos( 0 );
    ImGui::TextUnformatted( text.data(), text.data() + text.size() );
    ImGui::PopTextWrapPos();
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
    ImGui::PushStyleVar( ImGuiStyleVar_FrameBorderSize, 1 );
    ImGui::InputText(
        "##field", &value, masked ? ImGuiInputTextFlags_Password | ImGuiInputTextFlags_AutoSelectAll : 0 );
    ImGui::PopStyleVar();
    ImGui::PopID();
}

void AuthForm::checkbox( const char* caption, bool& value )
{
    row_();
    UI::checkbox( caption, &value );
}

void AuthForm::words( const std::vector<std::pair<const char*, ImVec4>>& words )
{
    row_();
    const FontScope font( RibbonFontManager::FontType::Small );
    float width = 0;
    for ( const auto& [text, color] : words )
        width += ImGui::CalcTextSize( text ).x;
    const float space = std::max( 0.f, ( innerWidth_ - width ) / float( words.size() - 1 ) );
    for ( size_t i = 0; i < words.size(); ++i )
    {
        if ( i > 0 )
            ImGui::SameLine( 0, space );
        ImGui::TextColored( words[i].second, "%s", words[i].first );
    }
}

bool AuthForm::mainButton( const char* caption )
{
    row_();
    center_( cButtonWidth * scaling_ );
    return UI::button( caption, { cButtonWidth * scaling_, cButtonHeight * scaling_ }, { .enterKey = true } );
}

void AuthForm::message( const std::string& text )
{
    if ( text.empty() )
        return;
    row_();
    const auto shown = beginning( text, cLongestMessage );
    const ImVec2 size = ImGui::CalcTextSize( shown.c_str(), nullptr, false, innerWidth_ );
    const float most = cMessageLines * ImGui::GetTextLineHeight();
    const bool scrolls = size.y > most + 1;
    if ( scrolls )
        ImGui::BeginChild( "##message", { 0, most } );
    else
        center_( size.x );
    ImGui::PushTextWrapPos( scrolls ? 0 : padding_ + innerWidth_ + 1 );
    ImGui::TextColored( themeVec4( ColorTheme::Error ), "%s", shown.c_str() );
    ImGui::PopTextWrapPos();
    if ( scrolls )
        ImGui::EndChild();
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
