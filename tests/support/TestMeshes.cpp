#include "support/TestMeshes.h"

#include <VXMesh/formats/VxuFormat.h>

#include <array>
#include <cstdio>

namespace VX::Testing
{
namespace
{

template <typename T>
void append( std::string& out, const T& value )
{
    out.append( reinterpret_cast<const char*>( &value ), sizeof value );
}

} // namespace

Mesh cube( float side )
{
    Mesh mesh;
    for ( int i = 0; i < 8; ++i )
        mesh.points.push_back( { i & 1 ? side : 0, i & 2 ? side : 0, i & 4 ? side : 0 } );
    mesh.triangles = { { 0, 2, 1 }, { 1, 2, 3 }, { 4, 5, 6 }, { 5, 7, 6 }, { 0, 1, 4 }, { 1, 5, 4 }, { 2, 6, 3 },
        { 3, 6, 7 }, { 0, 4, 2 }, { 2, 4, 6 }, { 1, 3, 5 }, { 3, 7, 5 } };
    return mesh;
}

Mesh wavySheet( int n )
{
    Mesh mesh;
    for ( int y = 0; y <= n; ++y )
        for ( int x = 0; x <= n; ++x )
        {
            const float u = float( x ) / float( n ), v = float( y ) / float( n );
            mesh.points.push_back( { u, v, 0.1f * std::sin( u * 20 ) * std::cos( v * 20 ) } );
        }
    for ( int y = 0; y < n; ++y )
        for ( int x = 0; x < n; ++x )
        {
            const auto a = uint32_t( y * ( n + 1 ) + x ), b = a + 1, c = a + uint32_t( n ) + 1, d = c + 1;
            mesh.triangles.push_back( { a, b, c } );
            mesh.triangles.push_back( { b, d, c } );
        }
    mesh.normals = computeVertexNormals( mesh );
    return mesh;
}

std::shared_ptr<ObjectMesh> meshObject( const std::string& name, Mesh mesh )
{
    auto object = std::make_shared<ObjectMesh>();
    object->setName( name );
    object->setMesh( std::make_shared<const Mesh>( std::move( mesh ) ) );
    return object;
}

std::string cubeFile()
{
    const std::vector<std::shared_ptr<Object>> roots{ meshObject( "Cube", cube() ) };
    const auto bytes = writeVxu( roots ).value();
    return { reinterpret_cast<const char*>( bytes.data() ), bytes.size() };
}

std::string glbFile( std::string json, std::string binary )
{
    json.resize( ( json.size() + 3 ) / 4 * 4, ' ' );
    binary.resize( ( binary.size() + 3 ) / 4 * 4, '\0' );
    std::string out;
    append( out, std::array{ 0x46546C67u, 2u, uint32_t( 28 + json.size() + binary.size() ) } );
    append( out, std::array{ uint32_t( json.size() ), 0x4E4F534Au } );
    out += json;
    append( out, std::array{ uint32_t( binary.size() ), 0x004E4942u } );
    return out + binary;
}

std::string binaryStl( const Mesh& mesh )
{
    std::string out( 80, '\0' );
    const auto count = uint32_t( mesh.triangles.size() );
    append( out, count );
    out.reserve( 84 + size_t( count ) * 50 );
    for ( const auto& t : mesh.triangles )
    {
        append( out, Vector3f{} );
        for ( const uint32_t corner : t )
            append( out, mesh.points[corner] );
        append( out, uint16_t( 0 ) );
    }
    return out;
}

std::string binaryPly( const Mesh& mesh )
{
    std::string out = "ply\nformat binary_little_endian 1.0\ncomment made for a test\n";
    out += "element vertex " + std::to_string( mesh.points.size() ) + "\n";
    out += "property float x\nproperty float y\nproperty float z\n";
    if ( !mesh.normals.empty() )
        out += "property float nx\nproperty float ny\nproperty float nz\n";
    if ( !mesh.vertexColors.empty() )
        out += "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\n";
    out += "element face " + std::to_string( mesh.triangles.size() ) + "\nproperty list uchar int vertex_indices\n";
    out += "end_header\n";
    for ( size_t i = 0; i < mesh.points.size(); ++i )
    {
        append( out, mesh.points[i] );
        if ( !mesh.normals.empty() )
            append( out, mesh.normals[i] );
        if ( !mesh.vertexColors.empty() )
            append( out, mesh.vertexColors[i] );
    }
    for ( const auto& t : mesh.triangles )
    {
        append( out, uint8_t( 3 ) );
        append( out, t );
    }
    return out;
}

std::string pointText( const Vector3f& point, const Vector3d& shift )
{
    const Vector3d p = point + shift;
    std::array<char, 100> text{};
    std::snprintf( text.data(), text.size(), "%.4f %.4f %.4f", p.x, p.y, p.z );
    return text.data();
}

std::string objText( const Mesh& mesh, const Vector3d& shift )
{
    std::string out = "# made for a test\n";
    for ( const auto& p : mesh.points )
        out += "v " + pointText( p, shift ) + "\n";
    for ( const auto& t : mesh.triangles )
        out += "f " + std::to_string( t[0] + 1 ) + " " + std::to_string( t[1] + 1 ) + " " + std::to_string( t[2] + 1 ) +
               "\n";
    return out;
}

} // namespace VX::Testing
