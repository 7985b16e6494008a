#include "support/ui/Frames.h"

#include "support/Patience.h"

#include <VXViewer/core/Viewer.h>

#include <imgui_internal.h>

namespace VX::Testing
{

void settleFrames()
{
    auto& viewer = getViewerInstance();
    const Patience patience;
    uint64_t before = 0;
    do
    {
        patience.check( "the frames do not come to an end" );
        before = viewer.framesDrawn();
        for ( int i = 0; i < 8; ++i )
            viewer.step( 0 );
    } while ( viewer.framesDrawn() != before );
}

bool isWindowShown( const std::string& name )
{
    for ( const ImGuiWindow* window : ImGui::GetCurrentContext()->Windows )
        if ( window->Active && std::string( window->Name ).find( name ) != std::string::npos )
            return true;
    return false;
}

} // namespace VX::Testing
