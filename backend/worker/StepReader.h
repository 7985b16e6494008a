#pragma once

#include <VXMesh/scene/Object.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VX::Backend
{

struct StepOptions
{
    double deflection =
        0.001;               ///< of triangles from curved faces, in parts of the longest side of the whole scene's box
    double angle = 0.5;      ///< radians between neighbouring normals
    int processes = 1;       ///< that share a large file: this one and copies of it
    double leastShare = 300; ///< edges of faces, about, below which another process is not worth its start
    bool allHealing = false; ///< also the kinds that no known file needs
    /// Gets the part that is done, 0 to 1, as the work goes on; it may fall back where the work begins anew.
    std::function<void( float )> progress;
};

/// Reads a STEP file into object trees: names, colours and placements, one mesh a part however often it is used, the
/// edges of its faces as lines. The error is a text for the user.
///
/// `scratch` is a writable folder for the reader's settings. Takes the process over: Open CASCADE's messages are
/// switched off, and its settings are global. When a copy that shares the work fails
/// or is killed, this process converts the whole file.
[[nodiscard]] tl::expected<std::vector<std::shared_ptr<Object>>, std::string> readStep(
    const std::filesystem::path& file, const std::filesystem::path& scratch, const StepOptions& options = {} );

/// Loads what the first file would load, so that it need not.
void warmUpStepReader( const std::filesystem::path& scratch );

} // namespace VX::Backend
