#include <VXViewer/dialogs/FileDialog.h>

#include <VXMesh/io/Path.h>
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
    if ( isInPath( "zenity" ) )
        return openDesktopDialog_();
    shown_ = scrollToCursor_ = true;
    choice_.beginOpen( startFolder() );
}

void FileDialog::openAny( Chosen chosen )
{
    const bool stood = shown_;
    open( std::move( chosen ) );
    if ( stood || !shown_ || choice_.showsAllFiles() )
        return;
    choice_.showAllFiles( true );
    showsAny_ = true;
}

void FileDialog::save( const std::string& suggestedName, const std::string& extension, SaveChosen chosen )
{
    if ( shown_ )
        return;
    saveChosen_ = std::move( chosen );
    if ( isInPath( "zenity" ) )
        return saveInDesktopDialog_( suggestedName, extension );
    shown_ = focusName_ = scrollToCursor_ = true;
    choice_.beginSave( startFolder(), suggestedName, extension );
}

void FileDialog::saveInDesktopDialog_( const std::string& name, const std::string& extension )
{
    std::thread(
        [chosen = saveChosen_, extension, file = utf8string( startFolder() / pathFromUtf8( name ) )]
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

void FileDialog::goUp_()
{
    choice_.goUp();
    scrollToCursor_ = true;
}

void FileDialog::close_()
{
    shown_ = false;
    if ( std::exchange( showsAny_, false ) )
        choice_.showAllFiles( false );
    ImGui::CloseCurrentPopup();
    redraw();
}

void FileDialog::accept_()
{
    const auto files = choice_.markedFiles();
    if ( files.empty() )
        return;
    close_();
    // The dialog may be opened again by what is called here.
    const auto chosen = std::move( chosen_ );
    tellOpened( files, chosen );
}

void FileDialog::acceptSave_()
{
    if ( !choice_.hasName() )
        return;
    const auto file = choice_.saveTarget();
    close_();
    const auto chosen = std::move( saveChosen_ );
    tellSaved( file, chosen );
}

void FileDialog::activated_( bool toOpen )
{
    // Another folder, in which nothing is marked yet, is shown from its top on.
    scrollToCursor_ |= !choice_.anyMarked();
    if ( toOpen )
        accept_();
}

void FileDialog::handleKeys_()
{
    if ( UI::keyPressed( ImGuiKey_Escape ) )
        return close_();
    if ( ImGui::GetIO().WantTextInput )
        return;
    const bool down = pressed( ImGuiKey_DownArrow ), up = pressed( ImGuiKey_UpArrow );
    scrollToCursor_ |= down || up;
    if ( down )
        choice_.moveDown();
    else if ( up )
        choice_.moveUp();
    else if ( pressed( ImGuiKey_Backspace ) )
        goUp_();
    else if ( choice_.anyMarked() && pressed( ImGuiKey_Enter ) )
        activated_( choice_.activateMarked() );
}

void FileDialog::drawPath_()
{
    if ( ImGui::Button( Icons::cHome ) )
    {
        choice_.goTo( getUserHomeDir() );
        scrollToCursor_ = true;
    }
    ImGui::SameLine();
    if ( ImGui::Button( Icons::cUp ) )
        goUp_();
    ImGui::SameLine();
    ImGui::AlignTextToFramePadding();
    ImGui::TextUnformatted( utf8string( choice_.folder() ).c_str() );
    ImGui::Dummy( { 0, 1 * UI::scale() } );
}

void FileDialog::drawEntry_( size_t index )
{
    // Going into another folder replaces the list that this entry is in.
    const FolderListing::Entry entry = choice_.listing().entries[index];
    ImGui::TableNextRow();
    ImGui::TableNextColumn();
    const auto label = std::string( entry.isFolder ? Icons::cFolder : Icons::cFile ) + "  " + entry.name;
    constexpr auto cFlags = ImGuiSelectableFlags_SpanAllColumns | ImGuiSelectableFlags_AllowDoubleClick;
    const bool clicked = ImGui::Selectable( label.c_str(), choice_.isMarked( index ), cFlags );
    if ( scrollToCursor_ && index == choice_.cursor() )
    {
        ImGui::SetScrollHereY();
        scrollToCursor_ = false;
    }
    ImGui::TableNextColumn();
    ImGui::TextColored( themeVec4( ColorTheme::DimText ), "%s", entry.size.c_str() );
    if ( !clicked )
        return;
    choice_.click( index, ImGui::GetIO().KeyCtrl );
    if ( ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left ) )
        activated_( choice_.activate( index ) );
}

void FileDialog::drawEntries_()
{
    const float scale = UI::scale();
    const float footer = ImGui::GetFrameHeightWithSpacing() + 10 * scale;
    // The keyboard moves our own cursor, which the mouse moves, too; Dear ImGui's would be a second one.
    ImGui::BeginChild( "##entries", { 0, -footer }, true, ImGuiWindowFlags_NoNav );
    const auto& error = choice_.listing().error;
    if ( !error.empty() )
        UI::wrapped( themeVec4( ColorTheme::Error ), "This folder cannot be read: " + error );
    else if ( choice_.listing().entries.empty() )
        ImGui::TextColored( themeVec4( ColorTheme::DimText ), "Nothing here can be opened" );
    if ( ImGui::BeginTable( "##table", 2, ImGuiTableFlags_SizingStretchProp ) )
    {
        ImGui::TableSetupColumn( "name", 0, 1 );
        ImGui::TableSetupColumn( "size", ImGuiTableColumnFlags_WidthFixed, 70 * scale );
        for ( size_t i = 0; shown_ && i < choice_.listing().entries.size(); ++i )
            drawEntry_( i );
        ImGui::EndTable();
    }
    ImGui::EndChild();
}

void FileDialog::drawOpenFooter_()
{
    const float scale = UI::scale();
    bool all = choice_.showsAllFiles();
    if ( ImGui::Checkbox( "All files", &all ) )
    {
        choice_.showAllFiles( all );
        scrollToCursor_ = true;
    }
    const float buttons = 2 * 96 * scale + ImGui::GetStyle().ItemSpacing.x;
    ImGui::SameLine( ImGui::GetWindowContentRegionMax().x - buttons );
    if ( UI::dialogButton( "Cancel" ) )
        close_();
    ImGui::SameLine();
    ImGui::BeginDisabled( !choice_.anyMarked() );
    if ( UI::button( "Open", { 96 * scale, 0 } ) )
        activated_( choice_.activateMarked() );
    ImGui::EndDisabled();
}

void FileDialog::drawSaveFooter_()
{
    const float scale = UI::scale();
    const float buttons = 2 * ( 96 * scale + ImGui::GetStyle().ItemSpacing.x );
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x - buttons );
    if ( std::exchange( focusName_, false ) )
        ImGui::SetKeyboardFocusHere();
    const bool entered = UI::textField( "##name", choice_.name() ).entered;
    const bool exists = choice_.replaces();
    ImGui::SameLine();
    if ( UI::dialogButton( "Cancel" ) )
        return close_();
    ImGui::SameLine();
    if ( UI::button( exists ? "Replace" : "Save", { 96 * scale, 0 }, { .enabled = choice_.hasName() } ) ||
         ( entered && !exists ) )
        acceptSave_();
}

void FileDialog::draw()
{
    const float scale = UI::scale();
    if ( !shown_ )
        return;
    const char* id = choice_.isSaving() ? "Save##fileDialog" : "Open files##fileDialog";
    UI::openModalInTurn( id );
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    UI::centerNextWindow();
    ImGui::SetNextWindowSize(
        { std::min( 720 * scale, display.x - 32 * scale ), std::min( 480 * scale, display.y - 32 * scale ) } );
    if ( !ImGui::BeginModalNoAnimation(
             id, nullptr, ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoNav ) )
        return;
    drawPath_();
    drawEntries_();
    if ( shown_ && choice_.isSaving() )
        drawSaveFooter_();
    else if ( shown_ )
        drawOpenFooter_();
    if ( shown_ )
        handleKeys_();
    ImGui::EndPopup();
}

} // namespace VX
