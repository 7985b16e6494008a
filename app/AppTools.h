#pragma once

namespace VX::App
{

/// The tools and settings that only this program has; call these once, before the viewer starts.
void registerAboutTool();
/// The tool that has an opened STEP file converted again.
void registerConvertTool();
/// The entry "Import STEP files in the background" of the settings.
void registerImportSetting();

} // namespace VX::App
