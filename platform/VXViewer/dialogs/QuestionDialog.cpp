#include <VXViewer/dialogs/QuestionDialog.h>

#include <VXViewer/loop/Wake.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr const char* cId = "##question";
constexpr float cWidth = 460, cButtonWidth = 96, cMargin = 16;
constexpr size_t cNoAnswer = size_t( -1 );

float buttonWidth( const Question::Answer& answer )
{
    const float text = ImGui::CalcTextSize( answer.label.c_str() ).x + 2 * ImGui::GetStyle().FramePadding.x;
    return std::max( cButtonWidth * UI::scale(), text );
}

/// By Alt and the first letter, so that nobody who is just typing gives an answer.
bool isGivenByKey( const Question::Answer& answer )
{
    const auto& io = ImGui::GetIO();
    return io.KeyAlt && !io.KeyCtrl && !answer.label.empty() && ImGui::IsKeyPressed( answer.label.front(), false );
}

/// In a row that ends at the right edge, or one below the other where there is no room for a row.
size_t drawAnswers( const std::vector<Question::Answer>& answers )
{
    const float spacing = ImGui::GetStyle().ItemSpacing.x, room = ImGui::GetContentRegionAvail().x;
    float row = -spacing;
    for ( const auto& answer : answers )
        row += buttonWidth( answer ) + spacing;
    const bool fits = row <= room;
    if ( fits )
        ImGui::SetCursorPosX( ImGui::GetCursorPosX() + room - row );
    size_t given = cNoAnswer;
    for ( size_t i = answers.size(); i-- > 0; )
    {
        const Vector2f size{ fits ? buttonWidth( answers[i] ) : room, 0 };
        const bool main = i == 0;
        if ( UI::button( answers[i].label.c_str(), size, { .primary = main, .enterKey = main } ) )
            given = i;
        if ( isGivenByKey( answers[i] ) )
            given = i;
        UI::setTooltipIfHovered( fmt::format( "Alt+{}", answers[i].label.front() ) );
        if ( fits && i > 0 )
            ImGui::SameLine();
    }
    return given;
}

void drawText( const Question& question )
{
    const float scale = UI::scale();
    {
        const FontScope headline( RibbonFontManager::FontType::Headline );
        UI::wrapped( ImGui::GetStyleColorVec4( ImGuiCol_Text ), question.title );
    }
    ImGui::Dummy( { 0, 2 * scale } );
    UI::wrapped( ImGui::GetStyleColorVec4( ImGuiCol_Text ), question.text );
    ImGui::Dummy( { 0, 6 * scale } );
}

} // namespace

void QuestionDialog::push( Question question )
{
    const auto same = std::find_if(
        queue_.begin(), queue_.end(), [&]( const Question& other ) { return other.title == question.title; } );
    if ( same != queue_.end() )
        *same = std::move( question );
    else
        queue_.push_back( std::move( question ) );
    redraw();
}

size_t QuestionDialog::next_( bool isSceneFree ) const
{
    const auto it = std::find_if(
        queue_.begin(), queue_.end(), [&]( const Question& question ) { return isSceneFree || !question.isPatient; } );
    return size_t( it - queue_.begin() );
}

bool QuestionDialog::isShown( bool isSceneFree ) const
{
    return next_( isSceneFree ) < queue_.size();
}

void QuestionDialog::draw( bool isSceneFree )
{
    const float scale = UI::scale();
    const size_t index = next_( isSceneFree );
    if ( index == queue_.size() )
        return;
    UI::openModalInTurn( cId );
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float width = std::min( cWidth * scale, display.x - cMargin * scale );
    UI::centerNextWindow();
    ImGui::SetNextWindowSizeConstraints( { width, 0 }, { width, display.y } );
    if ( !ImGui::BeginModalNoAnimation(
             cId, nullptr, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_AlwaysAutoResize ) )
        return;
    drawText( queue_[index] );
    const size_t given = drawAnswers( queue_[index].answers );
    const bool escape = ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_Escape ), false );
    std::function<void()> action;
    if ( given != cNoAnswer )
        action = queue_[index].answers[given].action;
    else if ( escape )
        action = queue_[index].onEscape;
    if ( given != cNoAnswer || escape )
    {
        queue_.erase( queue_.begin() + std::ptrdiff_t( index ) );
        ImGui::CloseCurrentPopup();
        redraw();
    }
    ImGui::EndPopup();
    // It may ask the next question, or open another dialog.
    if ( action )
        action();
}

} // namespace VX
