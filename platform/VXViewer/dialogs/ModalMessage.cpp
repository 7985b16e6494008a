#include <VXViewer/dialogs/ModalMessage.h>

#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

struct Look
{
    const char* icon;
    const char* title;
    ImVec4 color;
};

Look lookOf( NotificationType type )
{
    switch ( type )
    {
    case NotificationType::Error:
        return { Icons::cError, "Error", themeVec4( ColorTheme::Error ) };
    case NotificationType::Warning:
        return { Icons::cWarning, "Warning", themeVec4( ColorTheme::Warning ) };
    default:
        return { Icons::cInfo, "Info", themeVec4( ColorTheme::Accent ) };
    }
}

} // namespace

void ModalMessage::push( std::string text, NotificationType type )
{
    // The same failure of many files is one piece of news.
    for ( const auto& message : queue_ )
        if ( message.text.text() == text && message.type == type )
            return;
    queue_.push_back( { TextBox( std::move( text ) ), type } );
}

void ModalMessage::addButton(
    const std::string& text, NotificationType type, const std::string& name, std::function<void()> action )
{
    for ( auto& message : queue_ )
        if ( message.text.text() == text && message.type == type )
        {
            message.buttonName = name;
            message.onButtonClick = std::move( action );
            return;
        }
}

bool ModalMessage::drawButtons_( float width, std::function<void()>& clicked ) const
{
    const float scale = UI::scale();
    const auto& message = queue_.front();
    const auto& style = ImGui::GetStyle();
    const float last = width - 96 * scale - style.WindowPadding.x;
    if ( !message.buttonName.empty() )
    {
        const float text = ImGui::CalcTextSize( message.buttonName.c_str(), nullptr, true ).x;
        const float own = std::max( text + 2 * style.FramePadding.x, 96 * scale );
        ImGui::SetCursorPosX( last - own - style.ItemSpacing.x );
        if ( UI::dialogButton( message.buttonName.c_str() ) )
        {
            clicked = message.onButtonClick;
            return true;
        }
        ImGui::SameLine();
    }
    ImGui::SetCursorPosX( last );
    const bool escape = ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_Escape ), false );
    return UI::primaryButton( "OK" ) || escape;
}

void ModalMessage::draw()
{
    const float scale = UI::scale();
    if ( queue_.empty() )
        return;
    constexpr const char* cId = "##modalMessage";
    UI::openModalInTurn( cId );
    UI::centerNextWindow();
    const float width = std::min( 460 * scale, ImGui::GetIO().DisplaySize.x - 32 * scale );
    ImGui::SetNextWindowSize( { width, 0 } );
    if ( !ImGui::BeginModalNoAnimation(
             cId, nullptr, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove ) )
        return;
    const auto look = lookOf( queue_.front().type );
    {
        const FontScope headline( RibbonFontManager::FontType::Headline );
        UI::colored( look.color, look.icon );
        ImGui::SameLine();
        ImGui::TextUnformatted( look.title );
    }
    ImGui::Dummy( { 0, 2 * scale } );
    const float textHeight = std::max( ImGui::GetIO().DisplaySize.y - 160 * scale, 2 * ImGui::GetTextLineHeight() );
    queue_.front().text.draw(
        "##text", ImGui::GetStyleColorVec4( ImGuiCol_Text ), ImGui::GetContentRegionAvail().x, textHeight );
    ImGui::Dummy( { 0, 6 * scale } );
    std::function<void()> clicked;
    if ( drawButtons_( width, clicked ) )
    {
        queue_.pop_front();
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
    if ( clicked )
        clicked();
}

} // namespace VX
