#pragma once

#include "FileOpener.h"

#include <VXViewer/menu/ImGuiMenu.h>

namespace VX::App
{

/// Fills the menu bar with what the program can do.
void addAppMenu( ImGuiMenu& menu, FileOpener& opener );

} // namespace VX::App
