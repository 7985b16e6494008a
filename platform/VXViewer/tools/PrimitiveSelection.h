#pragma once

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/Export.h>

#include <boost/signals2/connection.hpp>

#include <vector>

namespace VX
{

/// Faces of meshes that the user has marked, shown over the scene. There is one for the process. UI thread.
///
/// Marks follow their object, and go with it or when its geometry changes, at the next frame.
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
    [[nodiscard]] double area() const { return area_; }

    /// Takes the marked triangles out of their meshes, as one step of the history.
    void deleteMarked();

private:
    struct Entry
    {
        std::shared_ptr<ObjectMesh> object;
        std::shared_ptr<const Mesh> mesh;       ///< the geometry that the numbers belong to
        std::vector<size_t> triangles = {};     ///< sorted
        std::shared_ptr<const Mesh> shown = {}; ///< the marked triangles; null when they have changed
        AffineXf3d xf = {};                     ///< to the world, when the area was worked out
        double area = 0;
    };
    /// Leaves out what has changed or gone since it was marked.
    void prune_();
    void show_();
    /// Works out what is shown of an entry where that has changed.
    static void update_( Entry& entry );
    void followScene_();

    std::vector<Entry> entries_;
    double area_ = 0;
    uint64_t sceneRevision_ = 0;
    boost::signals2::scoped_connection frames_;
};

} // namespace VX
