#pragma once

namespace VX::App
{

/// The tool that tells the program's version and licences; call it once, before the viewer starts.
void registerAboutTool();

} // namespace VX::App
