#pragma once

namespace VX
{

/// Adds the switch of usage statistics to the settings, once for all menus of this process; nothing where the command
/// line has switched them off. UI thread.
void addTelemetrySetting();

} // namespace VX
