#pragma once

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/Export.h>

#include <vector>

namespace VX
{

/// Faces of meshes that the user has marked, shown over the scene. There is one for the process. UI thread.
class VXVIEWER_API PrimitiveSelection
{
public:
    [[nodiscard]] static PrimitiveSelection& instance();

    /// Marks triangles of an object; `add` keeps those that are marked, and takes these out when all of them are.
    void select( const std::shared_ptr<ObjectMesh>& object, const std::vector<size_t>& triangles, bool add );
    void clear();
    [[nodiscard]] bool empty() const { return entries_.empty(); }

    [[nodiscard]] size_t triangleCount() const;
    /// In the scene's units squared, with the objects' scales.
    [[nodiscard]] double area() const;

    /// Takes the marked triangles out of their meshes, as one step of the history.
    void deleteMarked();

private:
    struct Entry
    {
        std::shared_ptr<ObjectMesh> object;
        std::shared_ptr<const Mesh> mesh; ///< the geometry that the numbers belong to
        std::vector<size_t> triangles;    ///< sorted
    };
    /// Leaves out what has changed or gone since it was marked.
    void prune_();
    void show_();

    std::vector<Entry> entries_;
};

} // namespace VX
