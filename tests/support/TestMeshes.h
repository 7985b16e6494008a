#pragma once

#include <VXMesh/scene/VisualObjects.h>

#include <string>

namespace VX::Testing
{

/// A closed cube of that side, its lower corner at the origin: 8 points, 12 triangles, outward.
[[nodiscard]] Mesh cube( float side = 1 );

/// A wavy square of n by n cells, 2 * n * n triangles, with normals.
[[nodiscard]] Mesh wavySheet( int n );

[[nodiscard]] std::shared_ptr<ObjectMesh> meshObject( const std::string& name, Mesh mesh );

/// The bytes of a .vxu file with one cube.
[[nodiscard]] std::string cubeFile();

/// The bytes of a binary glTF file with this description and this data.
[[nodiscard]] std::string glbFile( std::string json, std::string binary );

/// The bytes of a binary STL file with the mesh's triangles.
[[nodiscard]] std::string binaryStl( const Mesh& mesh );

/// The bytes of a binary PLY file with the mesh's points, triangles, and normals and colours if it has them.
[[nodiscard]] std::string binaryPly( const Mesh& mesh );

/// Four decimals of each coordinate of a point, moved by `shift`, with blanks between them.
[[nodiscard]] std::string pointText( const Vector3f& point, const Vector3d& shift );

/// An OBJ file with the mesh's points, moved by `shift`, and its triangles.
[[nodiscard]] std::string objText( const Mesh& mesh, const Vector3d& shift );

} // namespace VX::Testing
