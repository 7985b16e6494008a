#pragma once

#include "Arguments.h"

#include <VXViewer/core/Viewer.h>

namespace VX::App
{

/// Opens the files without a window, draws them once they are all there, and writes the picture. Returns the program's
/// exit status. A file that cannot be opened is a failure; the picture shows the others, and where there is none, none
/// is written.
int takeScreenshot( const Arguments& arguments, const LaunchParams& params );

} // namespace VX::App
