#pragma once

#include <VXMesh/scene/Mesh.h>

#include <json/value.h>

#include <unordered_map>
#include <vector>

namespace VX::Gltf
{

/// What the corners of a primitive make, by glTF's numbers.
enum class Mode : int64_t
{
    Points = 0,
    Lines = 1,
    LineLoop = 2,
    LineStrip = 3,
    Triangles = 4,
    TriangleStrip = 5,
    TriangleFan = 6
};

[[nodiscard]] Mode modeOf( const Json::Value& primitive );
[[nodiscard]] bool isKnown( Mode mode );
[[nodiscard]] bool isSurface( Mode mode );

/// The accessor of an attribute such as "POSITION", or -1.
[[nodiscard]] int64_t attribute( const Json::Value& primitive, const char* name );

/// The segments of lines, loops and strips. Corners that are too few are left out.
[[nodiscard]] std::vector<Segment> segmentsOf( Mode mode, const std::vector<uint32_t>& corners );
/// The same for triangles, strips and fans.
[[nodiscard]] std::vector<Triangle> trianglesOf( Mode mode, const std::vector<uint32_t>& corners );

/// Lines over the points of a surface are its edges; the last ones where there are several.
class EdgesBySurface
{
public:
    /// The array of a mesh, which must outlive this object.
    explicit EdgesBySurface( const Json::Value& primitives );

    /// Whether these lines are the edges of some surface.
    [[nodiscard]] bool belongToASurface( const Json::Value& primitive ) const;
    /// The edges of a surface, or null.
    [[nodiscard]] const Json::Value* of( const Json::Value& primitive ) const;

private:
    std::unordered_map<int64_t, const Json::Value*> surfaces_;
};

/// How many parts a mesh has when it is read.
[[nodiscard]] size_t partCount( const Json::Value& mesh );

} // namespace VX::Gltf
