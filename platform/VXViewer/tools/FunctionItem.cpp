#include <VXViewer/scene/SceneRoot.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX::Requirements
{

std::string_view anySelected( const SelectedObjects& selected )
{
    return selected.empty() ? "Select at least one object" : "";
}

std::string_view oneSelected( const SelectedObjects& selected )
{
    return selected.size() == 1 ? "" : "Select exactly one object";
}

std::string_view anyObject( const SelectedObjects& )
{
    return sceneRoot().children().empty() ? "Open a file first" : "";
}

} // namespace VX::Requirements
