#pragma once

#include <filesystem>

namespace VX::App
{

/// Makes STEP files a format like any other, read through the conversion service by who is signed in. Call it once,
/// before the viewer starts.
void registerStepFormat();

/// Whether a file is a STEP file by its name.
[[nodiscard]] bool isStepFile( const std::filesystem::path& file );

} // namespace VX::App
