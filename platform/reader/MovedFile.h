#pragma once

#include <VXMesh/math/Vector3.h>

#include <filesystem>
#include <optional>
#include <string>

namespace VX
{

/// A mesh file whose points lie so far from zero that floats would round them, with the points moved to near zero.
struct MovedFile
{
    std::string bytes;
    Vector3d origin; ///< what all points are moved by

    /// Nothing when the file's points need not be moved, or stand in it in a way that is not known here. Blocks.
    [[nodiscard]] static std::optional<MovedFile> read( const std::filesystem::path& file );
};

} // namespace VX
