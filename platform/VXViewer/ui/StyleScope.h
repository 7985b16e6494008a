#pragma once

#include <imgui.h>

#include <initializer_list>

namespace VX
{

/// Colours and measures of Dear ImGui's style for as long as it lives; scopes end in the opposite order of their begin.
///
///     const StyleScope style( { { ImGuiCol_Text, color }, { ImGuiStyleVar_ItemSpacing, { 4, 2 } } } );
class StyleScope
{
public:
    class Entry
    {
    public:
        Entry( ImGuiCol_ color, const ImVec4& value ) { ImGui::PushStyleColor( color, value ); }
        Entry( ImGuiCol_ color, ImU32 value ) { ImGui::PushStyleColor( color, value ); }
        Entry( ImGuiStyleVar_ variable, float value )
            : isColor_( false )
        {
            ImGui::PushStyleVar( variable, value );
        }
        Entry( ImGuiStyleVar_ variable, const ImVec2& value )
            : isColor_( false )
        {
            ImGui::PushStyleVar( variable, value );
        }

    private:
        friend class StyleScope;
        bool isColor_ = true;
    };

    StyleScope( std::initializer_list<Entry> entries )
    {
        for ( const auto& entry : entries )
            ++( entry.isColor_ ? colors_ : variables_ );
    }
    ~StyleScope()
    {
        ImGui::PopStyleColor( colors_ );
        ImGui::PopStyleVar( variables_ );
    }
    StyleScope( const StyleScope& ) = delete;
    StyleScope& operator=( const StyleScope& ) = delete;

private:
    int colors_ = 0;
    int variables_ = 0;
};

} // namespace VX
