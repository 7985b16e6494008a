#include <VXViewer/core/ViewerMenu.h>

namespace VX
{

ViewerMenu::~ViewerMenu() = default;

} // namespace VX
