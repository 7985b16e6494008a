#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/LoadedObjects.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX::App
{

/// Makes STEP files a format like any other, read by the back end's converter on this machine, without an account or a
/// network. Call it once, before the viewer starts.
void registerLocalStepFormat();

/// The back end's program: beside this one, in "libexec" beside that folder, or in PATH. Empty where there is none.
[[nodiscard]] std::filesystem::path converterProgram();

/// Opens a STEP file through "convert" of such a program, a child process that ends with this call.
///
/// Blocks; any thread. The error says what is wrong with the file, or what has to be installed ("Operation was
/// canceled" when `progress` asked to stop).
[[nodiscard]] tl::expected<LoadedObjects, std::string> convertHere(
    const std::filesystem::path& program, const std::filesystem::path& file, const ProgressCallback& progress );

} // namespace VX::App
