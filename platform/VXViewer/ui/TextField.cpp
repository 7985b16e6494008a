#include <VXViewer/ui/TextField.h>

#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/StyleScope.h>

#include <imgui_internal.h>
#include <imgui_stdlib.h>

#include <algorithm>
#include <array>

namespace VX::UI
{
namespace
{

using State = ImGuiInputTextState;

/// A part of a text, in characters.
struct Range
{
    int from = 0, to = 0;
};

/// The field whose menu is open, or that gets the keyboard back from it.
struct Menu
{
    ImGuiID field = 0;
    Range marked;
    bool open = false;
    bool returning = false;
};
Menu sMenu;

/// The masked field that had the keyboard last.
ImGuiID sMasked = 0;

void forgetEdits( State& state )
{
    auto& undo = state.Stb.undostate;
    undo = {};
    undo.redo_point = STB_TEXTEDIT_UNDOSTATECOUNT;
    undo.redo_char_point = STB_TEXTEDIT_UNDOCHARCOUNT;
}

template <typename T>
void clearFrom( ImVector<T>& text, int length )
{
    if ( length < text.Capacity )
        std::fill( text.Data + std::max( length, 0 ), text.Data + text.Capacity, T( 0 ) );
}

/// Clears everything that is no part of the text as it stands.
void forgetFormerText( State& state )
{
    forgetEdits( state );
    clearFrom( state.TextW, state.CurLenW );
    clearFrom( state.TextA, state.TextAIsValid ? state.CurLenA : 0 );
    clearFrom( state.InitialTextA, state.InitialTextA.Size );
}

/// The field starts anew when it gets the keyboard the next time.
void forget( State& state )
{
    state.CurLenW = state.CurLenA = 0;
    state.InitialTextA.resize( 0 );
    state.TextAIsValid = false;
    state.Stb.cursor = state.Stb.select_start = state.Stb.select_end = 0;
    forgetFormerText( state );
    state.ID = 0;
}

std::string textOf( const State& state )
{
    const ImWchar* begin = state.TextW.Data;
    const ImWchar* end = begin + state.CurLenW;
    std::string out( size_t( ImTextCountUtf8BytesFromStr( begin, end ) ), '\0' );
    ImTextStrToUtf8( out.data(), int( out.size() ) + 1, begin, end );
    return out;
}

/// Takes over a text; the cursor goes to its end.
void setText( State& state, const std::string& value )
{
    state.TextW.resize( int( value.size() ) + 1 );
    const char* end = nullptr;
    state.CurLenW = ImTextStrFromUtf8( state.TextW.Data, state.TextW.Size, value.c_str(), nullptr, &end );
    state.CurLenA = int( end - value.c_str() );
    state.TextAIsValid = false;
    state.Stb.cursor = state.Stb.select_start = state.Stb.select_end = state.CurLenW;
}

/// Takes over a text that was changed while the field has the keyboard.
void reload( State& state, const std::string& value )
{
    setText( state, value );
    forgetFormerText( state );
}

/// Before what is marked gives way to as many characters: lets Ctrl+Z bring it back, as after typing.
void noteEdit( State& state, const Range& marked, int length )
{
    auto& undo = state.Stb.undostate;
    undo.redo_point = STB_TEXTEDIT_UNDOSTATECOUNT;
    undo.redo_char_point = STB_TEXTEDIT_UNDOCHARCOUNT;
    const int gone = marked.to - marked.from;
    if ( undo.undo_point == STB_TEXTEDIT_UNDOSTATECOUNT || undo.undo_char_point + gone > STB_TEXTEDIT_UNDOCHARCOUNT )
        forgetEdits( state );
    if ( gone > STB_TEXTEDIT_UNDOCHARCOUNT )
        return;
    auto& edit = undo.undo_rec[undo.undo_point++];
    edit.where = marked.from;
    edit.insert_length = gone;
    edit.delete_length = length;
    edit.char_storage = gone > 0 ? undo.undo_char_point : -1;
    std::copy_n( state.TextW.Data + marked.from, gone, undo.undo_char + undo.undo_char_point );
    undo.undo_char_point += gone;
}

/// Before the field is drawn: what Dear ImGui holds of it is what the caller holds.
void agree( State& state, const std::string& value, bool active, bool masked )
{
    const char* const known = value.c_str(); // Dear ImGui's texts end where a zero stands
    if ( active && state.TextAIsValid && known != std::string_view( state.TextA.Data ) )
        reload( state, value );
    else if ( !active && ( masked || textOf( state ) != known ) )
        forget( state );
    if ( !active )
        return;
    // Escape puts the text back that stands here.
    state.InitialTextA.resize( int( value.size() ) + 1 );
    std::copy_n( value.c_str(), value.size() + 1, state.InitialTextA.Data );
}

size_t byteOf( const std::string& text, int character )
{
    const char* at = text.c_str();
    for ( ; character > 0 && *at; --character )
    {
        unsigned codePoint = 0;
        at += ImTextCharFromUtf8( &codePoint, at, nullptr );
    }
    return size_t( at - text.c_str() );
}

int lengthOf( const std::string& text )
{
    return ImTextCountCharsFromUtf8( text.c_str(), nullptr );
}

std::string clipboard()
{
    const char* text = ImGui::GetClipboardText();
    std::string out = text ? text : "";
    std::erase_if( out, []( char c ) { return static_cast<unsigned char>( c ) < ' ' || c == 0x7f; } );
    return out;
}

/// Puts a text in place of what is marked, and the cursor behind it.
void replaceMarked( std::string& value, const std::string& by, bool masked )
{
    auto& state = ImGui::GetCurrentContext()->InputTextState;
    const bool follows = !masked && state.ID == sMenu.field && textOf( state ) == value;
    if ( follows )
        noteEdit( state, sMenu.marked, lengthOf( by ) );
    const size_t from = byteOf( value, sMenu.marked.from ), to = byteOf( value, sMenu.marked.to );
    value.replace( from, to - from, by );
    sMenu.marked.from = sMenu.marked.to = sMenu.marked.from + lengthOf( by );
    if ( follows )
        setText( state, value );
}

std::string markedText( const std::string& value )
{
    const size_t from = byteOf( value, sMenu.marked.from );
    return value.substr( from, byteOf( value, sMenu.marked.to ) - from );
}

/// Returns whether the text was changed.
bool drawMenuItems( std::string& value, bool masked )
{
    const bool marked = sMenu.marked.from != sMenu.marked.to;
    bool changed = false;
    if ( !masked && ImGui::MenuItem( "Cut", "Ctrl+X", false, marked ) )
    {
        ImGui::SetClipboardText( markedText( value ).c_str() );
        replaceMarked( value, {}, masked );
        changed = true;
    }
    if ( !masked && ImGui::MenuItem( "Copy", "Ctrl+C", false, marked ) )
        ImGui::SetClipboardText( markedText( value ).c_str() );
    const auto pasted = clipboard();
    if ( ImGui::MenuItem( "Paste", "Ctrl+V", false, !pasted.empty() ) )
    {
        replaceMarked( value, pasted, masked );
        changed = true;
    }
    if ( !masked && ImGui::MenuItem( "Select all", "Ctrl+A", false, !value.empty() ) )
        sMenu.marked = { 0, lengthOf( value ) };
    return changed;
}

void openMenu( ImGuiID id, const State& state, const std::string& value, const TextFieldParams& params )
{
    const int end = lengthOf( value );
    sMenu = { .field = id, .marked = { params.masked || params.selectAll ? 0 : end, end }, .open = true };
    if ( state.ID == id )
        sMenu.marked = { std::min( state.Stb.select_start, state.Stb.select_end ),
            std::max( state.Stb.select_start, state.Stb.select_end ) };
    if ( state.ID == id && !state.HasSelection() )
        sMenu.marked = { state.Stb.cursor, state.Stb.cursor };
    ImGui::OpenPopup( "##textMenu" );
}

/// Returns whether the text was changed.
bool drawMenu( std::string& value, bool masked )
{
    const float size = ImGui::GetFontSize();
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { size * 0.6f, size * 0.5f } },
        { ImGuiStyleVar_ItemSpacing, { size * 0.6f, size * 0.4f } } } );
    const bool shown = ImGui::BeginPopup( "##textMenu" );
    bool changed = false;
    if ( shown )
    {
        changed = drawMenuItems( value, masked );
        ImGui::EndPopup();
    }
    if ( !ImGui::IsPopupOpen( "##textMenu" ) )
    {
        // A click beside the menu gives the keyboard to what it hits.
        sMenu.returning =
            !ImGui::IsMouseClicked( ImGuiMouseButton_Left ) && !ImGui::IsMouseClicked( ImGuiMouseButton_Right );
        sMenu.open = false;
    }
    return changed;
}

/// The menu of the last item, which stays the last item.
bool handleMenu( ImGuiID id, std::string& value, const TextFieldParams& params )
{
    auto& context = *ImGui::GetCurrentContext();
    const auto item = context.LastItemData;
    ImGui::PushID( int( id ) );
    if ( ImGui::IsItemHovered() && ImGui::IsMouseReleased( ImGuiMouseButton_Right ) )
        openMenu( id, context.InputTextState, value, params );
    const bool changed = sMenu.open && sMenu.field == id && drawMenu( value, params.masked );
    ImGui::PopID();
    context.LastItemData = item;
    if ( sMenu.returning && sMenu.field == id )
        ImGui::SetKeyboardFocusHere( -1 );
    return changed;
}

/// Marks again what was marked when the menu has opened, or puts the cursor where it has left it.
void returnFromMenu( State& state )
{
    state.Stb.select_start = std::min( sMenu.marked.from, state.CurLenW );
    state.Stb.cursor = state.Stb.select_end = std::min( sMenu.marked.to, state.CurLenW );
    sMenu = {};
}

/// Dear ImGui ends a field at every repeat of a held Enter, the press that brought the field up among them. While this
/// lives, only a fresh press counts.
class FreshEnterOnly
{
public:
    FreshEnterOnly() { hide_(); }
    ~FreshEnterOnly()
    {
        for ( size_t i = 0; i < cKeys.size(); ++i )
            duration_( i ) = durations_[i];
    }
    FreshEnterOnly( const FreshEnterOnly& ) = delete;
    FreshEnterOnly& operator=( const FreshEnterOnly& ) = delete;

private:
    void hide_()
    {
        for ( size_t i = 0; i < cKeys.size(); ++i )
            if ( durations_[i] = duration_( i ); durations_[i] > 0 )
                duration_( i ) = -1;
    }
    static float& duration_( size_t i ) { return ImGui::GetIO().KeysDownDuration[ImGui::GetKeyIndex( cKeys[i] )]; }

    static constexpr std::array<ImGuiKey, 2> cKeys{ ImGuiKey_Enter, ImGuiKey_KeyPadEnter };
    std::array<float, 2> durations_{};
};

ImGuiInputTextFlags flagsOf( const TextFieldParams& params )
{
    return ( params.masked ? ImGuiInputTextFlags_Password | ImGuiInputTextFlags_NoUndoRedo : 0 ) |
           ( params.selectAll ? ImGuiInputTextFlags_AutoSelectAll : 0 );
}

} // namespace

TextFieldResult textField( const char* label, std::string& value, const TextFieldParams& params )
{
    auto& context = *ImGui::GetCurrentContext();
    auto& state = context.InputTextState;
    const ImGuiID id = ImGui::GetID( label );
    const bool wasActive = context.ActiveId == id;
    if ( state.ID == id )
        agree( state, value, wasActive, params.masked );
    const bool goesOn = state.ID == id;
    const bool returning = sMenu.returning && sMenu.field == id;

    TextFieldResult result;
    {
        const FreshEnterOnly fresh;
        result.changed = ImGui::InputTextWithHint( label, params.hint, &value, flagsOf( params ) );
    }
    const bool active = context.ActiveId == id;
    const bool released = wasActive && !active;
    if ( released && state.ID == id && ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_Escape ) ) )
        if ( auto typed = textOf( state ); typed != value )
        {
            value = std::move( typed );
            result.changed = true;
        }
    if ( active && params.masked )
        sMasked = id;
    // Whatever field has had the keyboard before has used the same memory.
    if ( active && ( !goesOn || params.masked ) )
        forgetFormerText( state );
    if ( active && returning )
        returnFromMenu( state );

    result.changed |= handleMenu( id, value, params );
    result.menuOpen = sMenu.open && sMenu.field == id;
    result.active = active || result.menuOpen;
    result.left = released && !result.menuOpen;
    result.entered = released && ( ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_Enter ), false ) ||
                                     ImGui::IsKeyPressed( ImGui::GetKeyIndex( ImGuiKey_KeyPadEnter ), false ) );
    return result;
}

void forgetMaskedText()
{
    auto& context = *ImGui::GetCurrentContext();
    auto& state = context.InputTextState;
    if ( sMasked != 0 && state.ID == sMasked && context.ActiveId != sMasked )
        forget( state );
}

} // namespace VX::UI
