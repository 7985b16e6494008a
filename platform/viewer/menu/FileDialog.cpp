#include <VXViewer/menu/FileDialog.h>

#include <VXMesh/io/Path.h>
#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/ChildProcess.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/ui/Theme.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <algorithm>
#include <sstream>
#include <thread>

namespace VX
{
namespace
{

constexpr const char* cId = "Open files##fileDialog";
constexpr const char* cLastFolderKey = "lastOpenFolder";

std::filesystem::path startFolder()
{
    const auto stored = Config::instance().getJsonValue( cLastFolderKey );
    std::error_code ec;
    if ( stored.isString() && std::filesystem::is_directory( pathFromUtf8( stored.asString() ), ec ) )
        return pathFromUtf8( stored.asString() );
    return getUserHomeDir();
}

bool pressed( ImGuiKey key )
{
    return ImGui::IsKeyPressed( ImGui::GetKeyIndex( key ) );
}

std::vector<std::filesystem::path> lines( const std::string& text )
{
    std::vector<std::filesystem::path> out;
    std::istringstream in( text );
    for ( std::string line; std::getline( in, line ); )
        if ( !line.empty() )
            out.push_back( pathFromUtf8( line ) );
    return out;
}

} // namespace

void FileDialog::open( Chosen chosen )
{
    if ( shown_ )
        return;
    chosen_ = std::move( chosen );
    if ( isInPath( "zenity" ) )
        return openDesktopDialog_();
    shown_ = true;
    goTo_( startFolder() );
}

void FileDialog::openDesktopDialog_()
{
    std::thread(
        [chosen = chosen_, folder = utf8string( startFolder() )]
        {
            const auto result = runChild( { "zenity", "--file-selection", "--multiple", "--separator=\n",
                "--title=Open files", "--filename=" + folder + "/" } );
            const auto files = lines( result.output );
            if ( result.status != 0 || files.empty() )
                return;
            CommandLoop::appendCommand(
                [chosen, files]
                {
                    Config::instance().setJsonValue( cLastFolderKey, utf8string( files.front().parent_path() ) );
                    chosen( files );
                } );
        } )
        .detach();
}

void FileDialog::goTo_( const std::filesystem::path& folder )
{
    folder_ = folder;
    listing_ = FolderListing::read( folder, allFiles_ );
    selected_.assign( listing_.entries.size(), false );
    cursor_ = 0;
    scrollToCursor_ = true;
}

void FileDialog::close_()
{
    shown_ = false;
    ImGui::CloseCurrentPopup();
    getViewerInstance().incrementForceRedrawFrames( 2 );
}

bool FileDialog::anySelected_() const
{
    return std::find( selected_.begin(), selected_.end(), true ) != selected_.end();
}

void FileDialog::accept_()
{
    std::vector<std::filesystem::path> files;
    for ( size_t i = 0; i < selected_.size(); ++i )
        if ( selected_[i] && !listing_.entries[i].isFolder )
            files.push_back( listing_.entries[i].path );
    if ( files.empty() )
        return;
    Config::instance().setJsonValue( cLastFolderKey, utf8string( folder_ ) );
    close_();
    // The dialog may be opened again by what is called here.
    const auto chosen = std::move( chosen_ );
    chosen( files );
}

void FileDialog::activate_( const FolderListing::Entry& entry )
{
    if ( entry.isFolder )
        return goTo_( std::filesystem::path( entry.path ) );
    selected_[size_t( &entry - listing_.entries.data() )] = true;
    accept_();
}

void FileDialog::handleKeys_()
{
    if ( ImGui::GetIO().WantTextInput )
        return;
    const size_t count = listing_.entries.size();
    const auto moveTo = [&]( size_t index )
    {
        cursor_ = index;
        scrollToCursor_ = true;
        selected_.assign( count, false );
        selected_[index] = true;
    };
    if ( count > 0 && pressed( ImGuiKey_DownArrow ) )
        moveTo( anySelected_() ? std::min( cursor_ + 1, count - 1 ) : 0 );
    else if ( count > 0 && pressed( ImGuiKey_UpArrow ) )
        moveTo( cursor_ > 0 ? cursor_ - 1 : 0 );
    else if ( pressed( ImGuiKey_Backspace ) )
        goTo_( folder_.parent_path() );
    else if ( pressed( ImGuiKey_Escape ) )
        close_();
    else if ( count > 0 && anySelected_() && pressed( ImGuiKey_Enter ) )
        activate_( listing_.entries[cursor_] );
}

void FileDialog::drawPath_( float scale )
{
    if ( ImGui::Button( Icons::cHome ) )
        goTo_( getUserHomeDir() );
    ImGui::SameLine();
    if ( ImGui::Button( Icons::cUp ) )
        goTo_( folder_.parent_path() );
    ImGui::SameLine();
    ImGui::AlignTextToFramePadding();
    ImGui::TextUnformatted( utf8string( folder_ ).c_str() );
    ImGui::Dummy( { 0, 1 * scale } );
}

void FileDialog::drawEntry_( size_t index )
{
    // Going into another folder replaces the list that this entry is in.
    const FolderListing::Entry entry = listing_.entries[index];
    ImGui::TableNextRow();
    ImGui::TableNextColumn();
    const auto label = std::string( entry.isFolder ? Icons::cFolder : Icons::cFile ) + "  " + entry.name;
    constexpr auto cFlags = ImGuiSelectableFlags_SpanAllColumns | ImGuiSelectableFlags_AllowDoubleClick;
    const bool clicked = ImGui::Selectable( label.c_str(), selected_[index], cFlags );
    if ( scrollToCursor_ && index == cursor_ )
    {
        ImGui::SetScrollHereY();
        scrollToCursor_ = false;
    }
    ImGui::TableNextColumn();
    ImGui::TextColored( Theme::cDimText, "%s", entry.size.c_str() );
    if ( !clicked )
        return;
    const bool keep = ImGui::GetIO().KeyCtrl;
    const bool was = selected_[index];
    if ( !keep )
        selected_.assign( selected_.size(), false );
    selected_[index] = !keep || !was;
    cursor_ = index;
    if ( ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left ) )
        activate_( listing_.entries[index] );
}

void FileDialog::drawEntries_( float scale )
{
    const float footer = ImGui::GetFrameHeightWithSpacing() + 10 * scale;
    ImGui::BeginChild( "##entries", { 0, -footer }, true );
    if ( !listing_.error.empty() )
        UI::wrapped( Theme::cErrorText, "This folder cannot be read: " + listing_.error );
    else if ( listing_.entries.empty() )
        ImGui::TextColored( Theme::cDimText, "Nothing here can be opened" );
    if ( ImGui::BeginTable( "##table", 2, ImGuiTableFlags_SizingStretchProp ) )
    {
        ImGui::TableSetupColumn( "name", 0, 1 );
        ImGui::TableSetupColumn( "size", ImGuiTableColumnFlags_WidthFixed, 70 * scale );
        for ( size_t i = 0; shown_ && i < listing_.entries.size(); ++i )
            drawEntry_( i );
        ImGui::EndTable();
    }
    ImGui::EndChild();
}

void FileDialog::drawFilter_( float scale )
{
    if ( ImGui::Checkbox( "All files", &allFiles_ ) )
        goTo_( std::filesystem::path( folder_ ) );
    const float buttons = 2 * 96 * scale + ImGui::GetStyle().ItemSpacing.x;
    ImGui::SameLine( ImGui::GetWindowContentRegionMax().x - buttons );
    if ( UI::button( "Cancel", scale ) )
        close_();
    ImGui::SameLine();
    ImGui::BeginDisabled( !anySelected_() );
    ImGui::PushStyleColor( ImGuiCol_Button, Theme::cAccent );
    ImGui::PushStyleColor( ImGuiCol_Text, ImVec4{ 0.10f, 0.08f, 0.05f, 1 } );
    if ( UI::button( "Open", scale ) )
        activate_( listing_.entries[cursor_] );
    ImGui::PopStyleColor( 2 );
    ImGui::EndDisabled();
}

void FileDialog::draw( float scale )
{
    if ( !shown_ )
        return;
    if ( !ImGui::IsPopupOpen( cId ) )
        ImGui::OpenPopup( cId );
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    UI::centerNextWindow();
    ImGui::SetNextWindowSize(
        { std::min( 720 * scale, display.x - 32 * scale ), std::min( 480 * scale, display.y - 32 * scale ) } );
    if ( !ImGui::BeginPopupModal(
             cId, nullptr, ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoNav ) )
        return;
    drawPath_( scale );
    drawEntries_( scale );
    if ( shown_ )
        drawFilter_( scale );
    if ( shown_ )
        handleKeys_();
    ImGui::EndPopup();
}

} // namespace VX
