#pragma once

#include <VXMesh/math/Color.h>

namespace VX
{

enum class Shading
{
    Automatic,
    Smooth,
    Flat
};

/// How the scene is drawn.
struct DrawSettings
{
    Shading shading = Shading::Automatic;
    bool edges = true;
    bool wireframe = false;
    float lineWidth = 1;
    float pointSize = 3;
    /// Without one, the pixels beside the objects are transparent.
    bool background = true;
    /// What is selected is tinted, and tools show their surfaces.
    bool marks = true;
    Color backgroundTop{ 86, 94, 106, 255 };
    Color backgroundBottom{ 34, 37, 43, 255 };
    Color highlight{ 255, 158, 54, 255 };
    bool operator==( const DrawSettings& ) const = default;
};

} // namespace VX
