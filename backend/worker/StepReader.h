#pragma once

#include <VXMesh/scene/Object.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace VX::Backend
{

/// How finely curved faces are turned into triangles.
struct Tessellation
{
    double deflection = 0.001; ///< of the longest side of the whole scene's box
    double angle = 0.5;        ///< radians between neighbouring normals
};

/// Reads a STEP file into object trees: names, colours and placements, one mesh a part however often it is used, the
/// edges of its faces as lines. The error is a text for the user.
///
/// `scratch` is a writable folder for the reader's settings. Takes the process over: Open CASCADE's messages are
/// switched off, and its settings are global.
[[nodiscard]] tl::expected<std::vector<std::shared_ptr<Object>>, std::string> readStep(
    const std::filesystem::path& file, const std::filesystem::path& scratch, const Tessellation& tessellation = {} );

/// Loads what the first file would load, so that it need not.
void warmUpStepReader( const std::filesystem::path& scratch );

} // namespace VX::Backend
