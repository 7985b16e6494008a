#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/formats/gltf/BufferPacker.h>
#include <VXMesh/formats/gltf/GltfColor.h>
#include <VXMesh/formats/gltf/GltfLimits.h>
#include <VXMesh/formats/gltf/PackedVolume.h>
#include <VXMesh/scene/ObjectVolume.h>
#include <VXMesh/scene/VisualObjects.h>

#include <json/writer.h>
#include <meshoptimizer.h>

#include <cstring>
#include <limits>
#include <map>
#include <numeric>
#include <tuple>

namespace VX
{
namespace
{

constexpr const char* cTooManyObjects = "The scene has too many objects for one file";
constexpr int cNormalBits = 12; // bits of an octahedral normal: errors stay under 0.05 degrees

using enum Gltf::ComponentType;

std::vector<std::array<uint16_t, 4>> linearColors( const std::vector<Color>& colors )
{
    std::vector<std::array<uint16_t, 4>> out( colors.size() );
    for ( size_t i = 0; i < colors.size(); ++i )
    {
        const auto linear = Gltf::toLinear( colors[i] );
        for ( size_t k = 0; k < 4; ++k )
            out[i][k] = uint16_t( std::lround( linear[k] * 65535 ) );
    }
    return out;
}

/// The mesh in an order that packs well and draws fast; geometry unchanged.
Mesh ordered( const Mesh& mesh )
{
    Mesh out = mesh;
    auto* indices = out.triangles.empty() ? nullptr : out.triangles.front().data();
    const size_t indexCount = out.triangles.size() * 3;
    // Colours by face are bound to the order of the triangles.
    if ( out.faceColors.empty() && indexCount > 0 )
        meshopt_optimizeVertexCache( indices, indices, indexCount, out.points.size() );

    std::vector<uint32_t> remap( out.points.size() );
    if ( indexCount > 0 )
        meshopt_optimizeVertexFetchRemap( remap.data(), indices, indexCount, out.points.size() );
    else
        std::fill( remap.begin(), remap.end(), ~0u );
    // Points that no triangle uses come last instead of being lost: edges may use them.
    uint32_t next = uint32_t( std::count_if( remap.begin(), remap.end(), []( uint32_t r ) { return r != ~0u; } ) );
    for ( auto& r : remap )
        if ( r == ~0u )
            r = next++;

    for ( size_t i = 0; i < remap.size(); ++i )
    {
        out.points[remap[i]] = mesh.points[i];
        if ( !mesh.normals.empty() )
            out.normals[remap[i]] = mesh.normals[i];
        if ( !mesh.vertexColors.empty() )
            out.vertexColors[remap[i]] = mesh.vertexColors[i];
    }
    for ( auto& t : out.triangles )
        for ( auto& v : t )
            v = remap[v];
    for ( auto& e : out.edges )
        for ( auto& v : e )
            v = remap[v];
    return out;
}

template <typename Element>
std::vector<uint32_t> flattened( const std::vector<Element>& elements )
{
    std::vector<uint32_t> out;
    out.reserve( elements.size() * std::tuple_size_v<Element> );
    for ( const auto& element : elements )
        out.insert( out.end(), element.begin(), element.end() );
    return out;
}

class VxuWriter
{
public:
    tl::expected<std::vector<std::byte>, std::string> write(
        std::span<const std::shared_ptr<Object>> roots, const ProgressCallback& progress )
    {
        for ( const auto& root : roots )
            forEachObject( *root, [this]( Object& ) { ++objectCount_; } );
        // With the frame.
        if ( objectCount_ >= Gltf::cMaxObjects )
            return tl::unexpected( std::string( cTooManyObjects ) );
        progress_ = progress;

        Json::Value frame;
        frame["name"] = "Scene";
        frame["extras"]["frame"] = true;
        for ( const double m : { 1., 0., 0., 0., 0., 0., -1., 0., 0., 1., 0., 0., 0., 0., 0., 1. } )
            frame["matrix"].append( m );
        nodes_.append( Json::Value() );
        for ( const auto& root : roots )
        {
            frame["children"].append( addNode_( *root ) );
            if ( !failure_.empty() )
                return tl::unexpected( failure_ );
        }
        nodes_[0] = std::move( frame );
        return assemble_();
    }

private:
    int addNode_( const Object& object )
    {
        const int index = int( nodes_.size() );
        nodes_.append( Json::Value() );
        Json::Value node;
        node["name"] = object.name();
        place_( node, object.xf() );
        if ( !object.isVisible() )
            node["extras"]["visible"] = false;
        if ( object.isSelected() )
            node["extras"]["selected"] = true;
        if ( const int mesh = meshOf_( object ); mesh >= 0 )
            node["mesh"] = mesh;
        if ( const auto* volume = dynamic_cast<const ObjectVolume*>( &object ); volume && volume->volume() )
            addVolume_( node, *volume );
        if ( failure_.empty() && !reportProgress( progress_, float( ++done_ ) / float( objectCount_ ) ) )
            failure_ = cOperationCanceled;
        for ( const auto& child : object.children() )
            if ( failure_.empty() )
                node["children"].append( addNode_( *child ) );
        nodes_[Json::ArrayIndex( index )] = std::move( node );
        return index;
    }

    void addVolume_( Json::Value& node, const ObjectVolume& object )
    {
        const Volume& volume = *object.volume();
        const auto [known, isNew] = volumeByAddress_.emplace( &volume, int( volumes_.size() ) );
        if ( isNew )
        {
            const auto total = float( objectCount_ );
            const auto progress = subprogress( progress_, float( done_ ) / total, float( done_ + 1 ) / total );
            const auto packed = Gltf::packVolume( volume, UINT32_MAX - packer_.bytes.size(), progress );
            if ( !packed )
            {
                failure_ = packed.error();
                return;
            }
            auto description = Gltf::describeVolume( volume );
            description["bufferView"] = packer_.addBytes( *packed );
            volumes_.append( std::move( description ) );
        }
        auto& extension = node["extensions"][Gltf::cVolumeExtension];
        extension["volume"] = known->second;
        for ( const int v : { object.color().r, object.color().g, object.color().b, object.color().a } )
            extension["color"].append( v );
    }

    static void place_( Json::Value& node, const AffineXf3d& xf )
    {
        const auto append = []( Json::Value& array, std::initializer_list<double> values )
        {
            for ( const double v : values )
                array.append( v );
        };
        if ( xf == AffineXf3d{} )
            return;
        if ( xf.A == Matrix3d{} )
            return append( node["translation"], { xf.b.x, xf.b.y, xf.b.z } );
        append( node["matrix"], { xf.A.x.x, xf.A.y.x, xf.A.z.x, 0, xf.A.x.y, xf.A.y.y, xf.A.z.y, 0 } );
        append( node["matrix"], { xf.A.x.z, xf.A.y.z, xf.A.z.z, 0, xf.b.x, xf.b.y, xf.b.z, 1 } );
    }

    int meshOf_( const Object& object )
    {
        const void* geometry = nullptr;
        Color color;
        Json::Value ( VxuWriter::*make )( const Object& ) = nullptr;
        if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object );
            mesh && mesh->mesh() && !mesh->mesh()->points.empty() )
            std::tie( geometry, color, make ) = std::tuple( mesh->mesh().get(), mesh->color(), &VxuWriter::surface_ );
        else if ( const auto* cloud = dynamic_cast<const ObjectPoints*>( &object );
            cloud && cloud->points() && !cloud->points()->points.empty() )
            std::tie( geometry, color, make ) = std::tuple( cloud->points().get(), cloud->color(), &VxuWriter::cloud_ );
        else if ( const auto* lines = dynamic_cast<const ObjectLines*>( &object );
            lines && lines->lines() && !lines->lines()->points.empty() )
            std::tie( geometry, color, make ) = std::tuple( lines->lines().get(), lines->color(), &VxuWriter::lines_ );
        if ( !geometry )
            return -1;

        const auto key = std::tuple( geometry, color.r, color.g, color.b, color.a );
        if ( const auto it = meshByGeometry_.find( key ); it != meshByGeometry_.end() )
            return it->second;
        auto found = primitivesByGeometry_.find( geometry );
        if ( found == primitivesByGeometry_.end() )
            found = primitivesByGeometry_.emplace( geometry, ( this->*make )( object ) ).first;
        Json::Value mesh;
        mesh["primitives"] = found->second;
        for ( auto& primitive : mesh["primitives"] )
            primitive["material"] = material_( color );
        meshes_.append( std::move( mesh ) );
        return meshByGeometry_[key] = int( meshes_.size() ) - 1;
    }

    int material_( Color color )
    {
        const auto key = std::tuple( color.r, color.g, color.b, color.a );
        if ( const auto it = materialByColor_.find( key ); it != materialByColor_.end() )
            return it->second;
        Json::Value material;
        for ( const float v : Gltf::toLinear( color ) )
            material["pbrMetallicRoughness"]["baseColorFactor"].append( double( v ) );
        material["pbrMetallicRoughness"]["metallicFactor"] = 0.1;
        material["pbrMetallicRoughness"]["roughnessFactor"] = 0.6;
        material["doubleSided"] = true;
        if ( color.a < 255 )
            material["alphaMode"] = "BLEND";
        materials_.append( std::move( material ) );
        return materialByColor_[key] = int( materials_.size() ) - 1;
    }

    int positions_( const std::vector<Vector3f>& points )
    {
        const int view = packer_.addAttribute( points.data(), points.size(), sizeof( Vector3f ) );
        const int accessor = packer_.addAccessor( view, Float, "VEC3", points.size() );
        const Box3f box = boxOf( points );
        auto& json = packer_.accessors[Json::ArrayIndex( accessor )];
        const Vector3f low = box.valid() ? box.min : Vector3f{}, high = box.valid() ? box.max : Vector3f{};
        for ( const float v : { low.x, low.y, low.z } )
            json["min"].append( double( v ) );
        for ( const float v : { high.x, high.y, high.z } )
            json["max"].append( double( v ) );
        return accessor;
    }

    int normals_( const std::vector<Vector3f>& normals )
    {
        std::vector<std::array<float, 4>> wide( normals.size() );
        for ( size_t i = 0; i < normals.size(); ++i )
            wide[i] = { normals[i].x, normals[i].y, normals[i].z, 0 };
        std::vector<std::array<int16_t, 4>> packed( normals.size() );
        meshopt_encodeFilterOct( packed.data(), packed.size(), sizeof packed[0], cNormalBits, wide.front().data() );
        const int view = packer_.addAttribute( packed.data(), packed.size(), sizeof packed[0], "OCTAHEDRAL" );
        return packer_.addAccessor( view, Short, "VEC3", packed.size() );
    }

    int colors_( const std::vector<Color>& colors )
    {
        const auto linear = linearColors( colors );
        const int view = packer_.addAttribute( linear.data(), linear.size(), sizeof linear[0] );
        return packer_.addAccessor( view, UnsignedShort, "VEC4", linear.size() );
    }

    Json::Value surface_( const Object& object )
    {
        const Mesh mesh = ordered( *static_cast<const ObjectMesh&>( object ).mesh() );
        Json::Value surface;
        surface["attributes"]["POSITION"] = positions_( mesh.points );
        if ( !mesh.normals.empty() )
            surface["attributes"]["NORMAL"] = normals_( mesh.normals );
        if ( !mesh.vertexColors.empty() )
            surface["attributes"]["COLOR_0"] = colors_( mesh.vertexColors );
        if ( !mesh.faceColors.empty() )
            surface["extras"]["faceColors"] = colors_( mesh.faceColors );
        const auto indices = flattened( mesh.triangles );
        Json::Value out( Json::arrayValue );
        if ( !indices.empty() )
        {
            const int view = packer_.addTriangles( indices, mesh.points.size() );
            surface["indices"] = packer_.addAccessor( view, UnsignedInt, "SCALAR", indices.size() );
        }
        Json::Value edges;
        edges["attributes"]["POSITION"] = surface["attributes"]["POSITION"];
        out.append( std::move( surface ) );
        if ( mesh.edges.empty() )
            return out;
        const auto segments = flattened( mesh.edges );
        const int view = packer_.addIndices( segments, mesh.points.size() );
        edges["indices"] = packer_.addAccessor( view, UnsignedInt, "SCALAR", segments.size() );
        edges["mode"] = 1;
        out.append( std::move( edges ) );
        return out;
    }

    Json::Value cloud_( const Object& object )
    {
        const auto& cloud = *static_cast<const ObjectPoints&>( object ).points();
        Json::Value primitive;
        primitive["mode"] = 0;
        primitive["attributes"]["POSITION"] = positions_( cloud.points );
        if ( !cloud.colors.empty() )
            primitive["attributes"]["COLOR_0"] = colors_( cloud.colors );
        Json::Value out( Json::arrayValue );
        out.append( std::move( primitive ) );
        return out;
    }

    Json::Value lines_( const Object& object )
    {
        const auto& lines = *static_cast<const ObjectLines&>( object ).lines();
        Json::Value primitive;
        primitive["mode"] = 1;
        primitive["attributes"]["POSITION"] = positions_( lines.points );
        const auto segments = flattened( lines.segments );
        const int view = packer_.addIndices( segments, lines.points.size() );
        primitive["indices"] = packer_.addAccessor( view, UnsignedInt, "SCALAR", segments.size() );
        Json::Value out( Json::arrayValue );
        out.append( std::move( primitive ) );
        return out;
    }

    Json::Value document_()
    {
        Json::Value root;
        root["asset"]["version"] = "2.0";
        root["asset"]["generator"] = "VXMesh";
        root["scene"] = 0;
        root["scenes"][0]["nodes"].append( 0 );
        root["nodes"] = std::move( nodes_ );
        if ( packer_.views.empty() )
            return root;
        root["bufferViews"] = std::move( packer_.views );
        root["buffers"][0]["byteLength"] = Json::UInt64( packer_.bytes.size() );
        if ( !volumes_.empty() )
        {
            root["extensionsUsed"].append( Gltf::cVolumeExtension );
            root["extensions"][Gltf::cVolumeExtension]["volumes"] = std::move( volumes_ );
        }
        if ( !meshes_.empty() )
            describeMeshes_( root );
        return root;
    }

    void describeMeshes_( Json::Value& root )
    {
        for ( const char* extension : { "EXT_meshopt_compression", "KHR_mesh_quantization" } )
        {
            root["extensionsUsed"].append( extension );
            root["extensionsRequired"].append( extension );
        }
        root["meshes"] = std::move( meshes_ );
        root["materials"] = std::move( materials_ );
        root["accessors"] = std::move( packer_.accessors );
        root["buffers"][1]["byteLength"] = Json::UInt64( packer_.unpackedSize );
        root["buffers"][1]["extensions"]["EXT_meshopt_compression"]["fallback"] = true;
    }

    tl::expected<std::vector<std::byte>, std::string> assemble_()
    {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["precision"] = std::numeric_limits<double>::max_digits10;
        std::string json = Json::writeString( builder, document_() );
        if ( !Gltf::isModest( json ) )
            return tl::unexpected( std::string( cTooManyObjects ) );
        json.resize( ( json.size() + 3 ) / 4 * 4, ' ' );

        const uint64_t total = 12 + 8 + json.size() + 8 + packer_.bytes.size();
        if ( total > UINT32_MAX )
            return tl::unexpected( std::string( "The scene is too large for one file (over 4 GiB)" ) );
        std::vector<std::byte> out;
        out.reserve( total );
        const auto words = [&]( std::initializer_list<uint32_t> values )
        {
            const auto* p = reinterpret_cast<const std::byte*>( values.begin() );
            out.insert( out.end(), p, p + values.size() * sizeof( uint32_t ) );
        };
        words( { 0x46546C67, 2, uint32_t( total ), uint32_t( json.size() ), 0x4E4F534A } );
        const auto* text = reinterpret_cast<const std::byte*>( json.data() );
        out.insert( out.end(), text, text + json.size() );
        words( { uint32_t( packer_.bytes.size() ), 0x004E4942 } );
        const auto* binary = reinterpret_cast<const std::byte*>( packer_.bytes.data() );
        out.insert( out.end(), binary, binary + packer_.bytes.size() );
        return out;
    }

    Gltf::BufferPacker packer_;
    Json::Value nodes_{ Json::arrayValue }, meshes_{ Json::arrayValue }, materials_{ Json::arrayValue };
    std::map<std::tuple<const void*, uint8_t, uint8_t, uint8_t, uint8_t>, int> meshByGeometry_;
    std::map<const void*, Json::Value> primitivesByGeometry_;
    std::map<std::tuple<uint8_t, uint8_t, uint8_t, uint8_t>, int> materialByColor_;
    Json::Value volumes_{ Json::arrayValue };
    std::map<const Volume*, int> volumeByAddress_;
    ProgressCallback progress_;
    size_t objectCount_ = 0;
    size_t done_ = 0;
    std::string failure_; ///< why nothing more is written
};

} // namespace

tl::expected<std::vector<std::byte>, std::string> writeVxu(
    std::span<const std::shared_ptr<Object>> roots, const ProgressCallback& progress )
{
    return VxuWriter().write( roots, progress );
}

} // namespace VX
