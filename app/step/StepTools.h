#pragma once

namespace VX::App
{

/// What only a program that opens STEP files has in its ribbon and settings; call these once, before the viewer starts.

/// The tool that has an opened STEP file converted again.
void registerConvertTool();
/// The entry "Import STEP files in the background" of the settings.
void registerImportSetting();

} // namespace VX::App
