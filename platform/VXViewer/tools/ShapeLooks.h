#pragma once

#include <array>

namespace VX
{

/// How a simple shape is shown where one is chosen.
struct ShapeLook
{
    const char* icon;
    const char* name;
};

/// All that can be made, in the order in which they are offered.
inline constexpr std::array<ShapeLook, 6> cShapeLooks{ { { "cube", "Cube" }, { "cylinder", "Cylinder" },
    { "sphere", "Sphere" }, { "prism", "Prism" }, { "torus", "Torus" }, { "arrow", "Arrow" } } };

} // namespace VX
