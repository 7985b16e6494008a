#include <VXViewer/dialogs/FileDialog.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXViewer/dialogs/FileDialogSignals.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/Programs.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/TextField.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <algorithm>
#include <sstream>
#include <thread>

namespace VX
{
namespace
{

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

std::filesystem::path withExtension( std::filesystem::path file, const std::string& extension )
{
    if ( toLower( utf8string( file.extension() ) ) != extension )
        file += extension;
    return file;
}

void tellOpened( const std::vector<std::filesystem::path>& files, const FileDialog::Chosen& chosen )
{
    Config::instance().setJsonValue( cLastFolderKey, utf8string( files.front().parent_path() ) );
    FileDialogSignals::instance().onOpenFiles( files );
    chosen( files );
}

void tellSaved( const std::filesystem::path& file, const FileDialog::SaveChosen& chosen )
{
    Config::instance().setJsonValue( cLastFolderKey, utf8string( file.parent_path() ) );
    FileDialogSignals::instance().onSaveFile( file );
    chosen( file );
}

} // namespace

void FileDialog::open( Chosen chosen )
{
    if ( shown_ )
        return;
    chosen_ = std::move( chosen );
    saving_ = false;
    if ( isInPath( "zenity" ) )
        return openDesktopDialog_();
    shown_ = true;
    goTo_( startFolder() );
}

void FileDialog::save( const std::string& suggestedName, const std::string& extension, SaveChosen chosen )
{
    if ( shown_ )
        return;
    saveChosen_ = std::move( chosen );
    saving_ = true;
    name_ = suggestedName;
    extension_ = extension;
    if ( isInPath( "zenity" ) )
        return saveInDesktopDialog_();
    shown_ = true;
    focusName_ = true;
    goTo_( startFolder() );
}

void FileDialog::saveInDesktopDialog_()
{
    std::thread(
        [chosen = saveChosen_, extension = extension_, file = utf8string( startFolder() / pathFromUtf8( name_ ) )]
        {
            const auto result = runChild( { "zenity", "--file-selection", "--save", "--confirm-overwrite",
                "--title=Save", "--filename=" + file + extension } );
            const auto files = lines( result.output );
            if ( result.status == 0 && files.size() == 1 )
                CommandLoop::appendCommand(
                    [chosen, file = withExtension( files.front(), extension )] { tellSaved( file, chosen ); } );
        } )
        .detach();
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
            CommandLoop::appendCommand( [chosen, files] { tellOpened( files, chosen ); } );
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
    redraw();
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
    close_();
    // The dialog may be opened again by what is called here.
    const auto chosen = std::move( chosen_ );
    tellOpened( files, chosen );
}

std::filesystem::path FileDialog::saveTarget_() const
{
    return folder_ / withExtension( pathFromUtf8( trimmed( name_ ) ), extension_ );
}

void FileDialog::acceptSave_()
{
    if ( trimmed( name_ ).empty() )
        return;
    const auto file = saveTarget_();
    close_();
    const auto chosen = std::move( saveChosen_ );
    tellSaved( file, chosen );
}

void FileDialog::activate_( const FolderListing::Entry& entry )
{
    if ( entry.isFolder )
        return goTo_( std::filesystem::path( entry.path ) );
    if ( saving_ )
    {
        name_ = entry.name;
        return;
    }
    selected_[size_t( &entry - listing_.entries.data() )] = true;
    accept_();
}

void FileDialog::handleKeys_()
{
    if ( UI::keyPressed( ImGuiKey_Escape ) )
        return close_();
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
    ImGui::TextColored( themeVec4( ColorTheme::DimText ), "%s", entry.size.c_str() );
    if ( !clicked )
        return;
    const bool keep = ImGui::GetIO().KeyCtrl;
    const bool was = selected_[index];
    if ( !keep )
        selected_.assign( selected_.size(), false );
    selected_[index] = !keep || !was;
    cursor_ = index;
    if ( saving_ && !entry.isFolder )
        name_ = entry.name;
    if ( ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left ) )
        activate_( listing_.entries[index] );
}

void FileDialog::drawEntries_( float scale )
{
    const float footer = ImGui::GetFrameHeightWithSpacing() + 10 * scale;
    // The keyboard moves our own cursor, which the mouse moves, too; Dear ImGui's would be a second one.
    ImGui::BeginChild( "##entries", { 0, -footer }, true, ImGuiWindowFlags_NoNav );
    if ( !listing_.error.empty() )
        UI::wrapped( themeVec4( ColorTheme::Error ), "This folder cannot be read: " + listing_.error );
    else if ( listing_.entries.empty() )
        ImGui::TextColored( themeVec4( ColorTheme::DimText ), "Nothing here can be opened" );
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

void FileDialog::drawOpenFooter_( float scale )
{
    if ( ImGui::Checkbox( "All files", &allFiles_ ) )
        goTo_( std::filesystem::path( folder_ ) );
    const float buttons = 2 * 96 * scale + ImGui::GetStyle().ItemSpacing.x;
    ImGui::SameLine( ImGui::GetWindowContentRegionMax().x - buttons );
    if ( UI::dialogButton( "Cancel", scale ) )
        close_();
    ImGui::SameLine();
    ImGui::BeginDisabled( !anySelected_() );
    if ( UI::button( "Open", { 96 * scale, 0 } ) )
        activate_( listing_.entries[cursor_] );
    ImGui::EndDisabled();
}

void FileDialog::drawSaveFooter_( float scale )
{
    const float buttons = 2 * ( 96 * scale + ImGui::GetStyle().ItemSpacing.x );
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x - buttons );
    if ( std::exchange( focusName_, false ) )
        ImGui::SetKeyboardFocusHere();
    const bool entered = UI::textField( "##name", name_ ).entered;
    std::error_code ec;
    const bool exists = !trimmed( name_ ).empty() && std::filesystem::exists( saveTarget_(), ec );
    ImGui::SameLine();
    if ( UI::dialogButton( "Cancel", scale ) )
        return close_();
    ImGui::SameLine();
    if ( UI::button( exists ? "Replace" : "Save", { 96 * scale, 0 }, { .enabled = !trimmed( name_ ).empty() } ) ||
         ( entered && !exists ) )
        acceptSave_();
}

void FileDialog::draw( float scale )
{
    if ( !shown_ )
        return;
    const char* id = saving_ ? "Save##fileDialog" : "Open files##fileDialog";
    UI::openModalInTurn( id );
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    UI::centerNextWindow();
    ImGui::SetNextWindowSize(
        { std::min( 720 * scale, display.x - 32 * scale ), std::min( 480 * scale, display.y - 32 * scale ) } );
    if ( !ImGui::BeginModalNoAnimation(
             id, nullptr, ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoNav ) )
        return;
    drawPath_( scale );
    drawEntries_( scale );
    if ( shown_ && saving_ )
        drawSaveFooter_( scale );
    else if ( shown_ )
        drawOpenFooter_( scale );
    if ( shown_ )
        handleKeys_();
    ImGui::EndPopup();
}

} // namespace VX
