#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/volume/Volume.h>

#include <tl/expected.hpp>

#include <string>

namespace VX
{

/// The volume with its values for stored numbers, so with a slope of 1 and an intercept of 0: of the narrowest type
/// that has all of them exactly when they are whole, else of floats. The same volume, shared, where they are that
/// already. Fails when stopped.
[[nodiscard]] tl::expected<Volume, std::string> withPlainValues(
    const Volume& volume, const ProgressCallback& progress );

} // namespace VX
