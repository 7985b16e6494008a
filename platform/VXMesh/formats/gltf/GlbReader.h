#pragma once

#include <VXMesh/formats/gltf/GltfAccessors.h>
#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/LoadedObjects.h>
#include <VXMesh/scene/ObjectVolume.h>
#include <VXMesh/scene/VisualObjects.h>

#include <map>
#include <unordered_set>

namespace VX::Gltf
{

/// The placement of a node by its matrix, or its translation, rotation and scale; what is damaged counts as missing.
[[nodiscard]] VXMESH_API AffineXf3d nodeXf( const Json::Value& node );

/// Turns the JSON and the binary chunk of a GLB file into object trees.
class GlbReader
{
public:
    GlbReader( const Json::Value& root, std::span<const std::byte> binary, ProgressCallback progress );

    [[nodiscard]] tl::expected<LoadedObjects, std::string> read();

private:
    using Result = tl::expected<std::shared_ptr<Object>, std::string>;

    /// The drawable parts of one glTF mesh, made once and shared by its instances.
    struct Part
    {
        std::shared_ptr<const Mesh> mesh;
        std::shared_ptr<const PointCloud> points;
        std::shared_ptr<const Lines> lines;
        Vector3d origin; ///< where the geometry's zero is in the space of the node
        Color color = VisualObject::cDefaultColor;
    };
    using Parts = std::vector<Part>;

    Result node_( int64_t index, int depth );
    /// The object that a node has geometry or voxels for, or a group.
    Result content_( const Json::Value& node );
    Result meshObject_( const Json::Value& node, int64_t mesh );
    Result volumeObject_( const Json::Value& extension );
    tl::expected<std::shared_ptr<const Volume>, std::string> volume_( int64_t index );
    tl::expected<void, std::string> addChildren_( Object& object, const Json::Value& node, int depth );
    tl::expected<const Parts*, std::string> parts_( int64_t mesh );
    tl::expected<Parts, std::string> readParts_( const Json::Value& mesh );
    tl::expected<Part, std::string> part_( const Json::Value& primitive, const Json::Value* edges );
    tl::expected<Part, std::string> surface_( const Json::Value& primitive, const Json::Value* edges );
    tl::expected<void, std::string> attributes_( const Json::Value& primitive, Mesh& mesh );
    tl::expected<Part, std::string> cloud_( const Json::Value& primitive );
    tl::expected<Part, std::string> lines_( const Json::Value& primitive );
    tl::expected<std::vector<uint32_t>, std::string> indices_( const Json::Value& primitive, size_t pointCount );
    tl::expected<std::vector<Segment>, std::string> segments_( const Json::Value& primitive, size_t pointCount );
    Color materialColor_( const Json::Value& primitive ) const;
    [[nodiscard]] bool asksForTooMuch_() const;
    [[nodiscard]] bool goesOn_() { return reportProgress( progress_, fraction_ ); }
    [[nodiscard]] tl::expected<void, std::string> addRoot_( int64_t index, LoadedObjects& out );

    const Json::Value& root_;
    Accessors accessors_;
    ProgressCallback progress_;
    std::map<int64_t, Parts> partsByMesh_;
    std::map<int64_t, std::shared_ptr<const Volume>> volumes_;
    uint64_t voxelBudget_; ///< bytes that may still be unpacked
    std::unordered_set<int64_t> visited_;
    size_t skippedPrimitives_ = 0;
    float fraction_ = 0;
};

} // namespace VX::Gltf
