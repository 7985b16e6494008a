#pragma once

#include <VXMesh/math/AffineXf3.h>
#include <VXMesh/scene/Mesh.h>

#include <memory>

namespace VX
{

/// A surface that a tool shows over the scene: a preview, or what is marked. It is no object of the scene.
struct Overlay
{
    std::shared_ptr<const Mesh> mesh;
    AffineXf3d xf; ///< from the mesh's space to the world's
    Color color;
    /// Shaded like an object; otherwise in its plain colour, a little in front of the surface it lies on.
    bool shaded = false;
};

} // namespace VX
