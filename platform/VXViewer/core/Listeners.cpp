#include <VXViewer/core/Listeners.h>

#include <VXViewer/core/Viewer.h>

namespace VX
{

ViewerSignals& signalsOf( Viewer& viewer )
{
    return viewer.signals();
}

} // namespace VX
