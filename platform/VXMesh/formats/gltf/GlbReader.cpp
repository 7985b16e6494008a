#include <VXMesh/formats/gltf/GlbReader.h>

#include <VXMesh/formats/gltf/GltfColor.h>
#include <VXMesh/formats/gltf/GltfLimits.h>
#include <VXMesh/formats/gltf/GltfPrimitives.h>
#include <VXMesh/formats/gltf/PackedVolume.h>
#include <VXMesh/io/Json.h>
#include <VXMesh/scene/Origin.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace VX::Gltf
{
namespace
{

constexpr int cMaxDepth = 150;
constexpr uint64_t cMostInflated = 1040; // times the packed size; deflate cannot do more
constexpr size_t cBetweenLooks = 256;    // nodes

tl::unexpected<std::string> damaged( const char* what )
{
    return tl::unexpected( std::string( "The file is damaged: " ) + what );
}

/// glTF is Y up, the scene is Z up.
AffineXf3d yUpToZUp()
{
    return { { { 1, 0, 0 }, { 0, 0, -1 }, { 0, 1, 0 } }, {} };
}

template <size_t N>
bool readNumbers( const Json::Value& array, std::array<double, N>& out )
{
    if ( !array.isArray() || array.size() != N )
        return false;
    for ( Json::ArrayIndex i = 0; i < N; ++i )
    {
        if ( !array[i].isNumeric() || !( std::abs( array[i].asDouble() ) <= std::numeric_limits<float>::max() ) )
            return false;
        out[i] = array[i].asDouble();
    }
    return true;
}

Matrix3d rotationOf( const std::array<double, 4>& q )
{
    const auto [x, y, z, w] = q;
    return { { 1 - 2 * ( y * y + z * z ), 2 * ( x * y - z * w ), 2 * ( x * z + y * w ) },
        { 2 * ( x * y + z * w ), 1 - 2 * ( x * x + z * z ), 2 * ( y * z - x * w ) },
        { 2 * ( x * z - y * w ), 2 * ( y * z + x * w ), 1 - 2 * ( x * x + y * y ) } };
}

bool extraFlag( const Json::Value& node, const char* key, bool fallback )
{
    const auto& extras = node["extras"];
    return extras.isObject() && extras[key].isBool() ? extras[key].asBool() : fallback;
}

template <typename Element>
bool inRange( const std::vector<Element>& elements, size_t count )
{
    for ( const auto& element : elements )
        for ( const auto index : element )
            if ( index >= count )
                return false;
    return true;
}

template <typename PartType>
std::shared_ptr<VisualObject> makeObject( const PartType& part )
{
    std::shared_ptr<VisualObject> out;
    if ( part.mesh )
    {
        auto object = std::make_shared<ObjectMesh>();
        object->setMesh( part.mesh );
        out = object;
    }
    else if ( part.points )
    {
        auto object = std::make_shared<ObjectPoints>();
        object->setPoints( part.points );
        out = object;
    }
    else
    {
        auto object = std::make_shared<ObjectLines>();
        object->setLines( part.lines );
        out = object;
    }
    out->setColor( part.color );
    out->setXf( translation( part.origin ) );
    return out;
}

} // namespace

AffineXf3d nodeXf( const Json::Value& node )
{
    if ( std::array<double, 16> m; readNumbers( node["matrix"], m ) )
        return { { { m[0], m[4], m[8] }, { m[1], m[5], m[9] }, { m[2], m[6], m[10] } }, { m[12], m[13], m[14] } };
    std::array<double, 3> t{ 0, 0, 0 }, s{ 1, 1, 1 };
    std::array<double, 4> q{ 0, 0, 0, 1 };
    if ( !readNumbers( node["translation"], t ) )
        t = { 0, 0, 0 };
    if ( !readNumbers( node["scale"], s ) )
        s = { 1, 1, 1 };
    if ( !readNumbers( node["rotation"], q ) )
        q = { 0, 0, 0, 1 };
    const Matrix3d scale{ { s[0], 0, 0 }, { 0, s[1], 0 }, { 0, 0, s[2] } };
    return { rotationOf( q ) * scale, { t[0], t[1], t[2] } };
}

GlbReader::GlbReader( const Json::Value& root, std::span<const std::byte> binary, ProgressCallback progress )
    : root_( root )
    , accessors_( root, binary, [this] { return goesOn_(); } )
    , progress_( std::move( progress ) )
    , voxelBudget_( binary.size() * cMostInflated )
{
}

Color GlbReader::materialColor_( const Json::Value& primitive ) const
{
    const auto& material = element( root_, "materials", integerMember( primitive, "material", -1 ) );
    if ( !material.isObject() || !material["pbrMetallicRoughness"].isObject() )
        return VisualObject::cDefaultColor;
    std::array<double, 4> factor{};
    if ( !readNumbers( material["pbrMetallicRoughness"]["baseColorFactor"], factor ) )
        return VisualObject::cDefaultColor;
    const auto [r, g, b, a] = factor;
    return fromLinear( { float( r ), float( g ), float( b ), float( a ) } );
}

tl::expected<void, std::string> GlbReader::attributes_( const Json::Value& primitive, Mesh& mesh )
{
    if ( const auto id = attribute( primitive, "NORMAL" ); id >= 0 )
    {
        auto normals = accessors_.vectors( id );
        if ( !normals )
            return tl::unexpected( normals.error() );
        mesh.normals = std::move( *normals );
    }
    if ( const auto id = attribute( primitive, "COLOR_0" ); id >= 0 )
    {
        auto colors = accessors_.colors( id );
        if ( !colors )
            return tl::unexpected( colors.error() );
        mesh.vertexColors = std::move( *colors );
    }
    const auto& extras = primitive["extras"];
    if ( const auto id = integerMember( extras, "faceColors", -1 ); id >= 0 )
    {
        auto colors = accessors_.colors( id );
        if ( !colors )
            return tl::unexpected( colors.error() );
        mesh.faceColors = std::move( *colors );
    }
    return {};
}

/// As the primitive names them, or one after the other.
tl::expected<std::vector<uint32_t>, std::string> GlbReader::indices_( const Json::Value& primitive, size_t pointCount )
{
    if ( const auto id = integerMember( primitive, "indices", -1 ); id >= 0 )
        return accessors_.indices( id );
    std::vector<uint32_t> out( pointCount );
    std::iota( out.begin(), out.end(), 0u );
    return out;
}

tl::expected<std::vector<Segment>, std::string> GlbReader::segments_( const Json::Value& primitive, size_t pointCount )
{
    const auto corners = indices_( primitive, pointCount );
    if ( !corners )
        return tl::unexpected( corners.error() );
    auto segments = segmentsOf( modeOf( primitive ), *corners );
    if ( !inRange( segments, pointCount ) )
        return damaged( "a line refers to a point that is not there" );
    return segments;
}

tl::expected<GlbReader::Part, std::string> GlbReader::surface_( const Json::Value& primitive, const Json::Value* edges )
{
    auto points = accessors_.vectors( attribute( primitive, "POSITION" ) );
    if ( !points )
        return tl::unexpected( points.error() );
    auto mesh = std::make_shared<Mesh>();
    mesh->points = std::move( *points );
    const auto corners = indices_( primitive, mesh->points.size() );
    if ( !corners )
        return tl::unexpected( corners.error() );
    mesh->triangles = trianglesOf( modeOf( primitive ), *corners );
    if ( auto read = attributes_( primitive, *mesh ); !read )
        return tl::unexpected( read.error() );
    if ( edges )
    {
        auto segments = segments_( *edges, mesh->points.size() );
        if ( !segments )
            return tl::unexpected( segments.error() );
        mesh->edges = std::move( *segments );
    }
    if ( !isConsistent( *mesh ) )
        return damaged( "a surface refers to a point that is not there" );
    const Vector3d origin = moveToOrigin( mesh->points );
    return Part{
        .mesh = std::move( mesh ), .points = {}, .lines = {}, .origin = origin, .color = materialColor_( primitive ) };
}

tl::expected<GlbReader::Part, std::string> GlbReader::cloud_( const Json::Value& primitive )
{
    auto points = accessors_.vectors( attribute( primitive, "POSITION" ) );
    if ( !points )
        return tl::unexpected( points.error() );
    auto cloud = std::make_shared<PointCloud>();
    cloud->points = std::move( *points );
    if ( const auto id = attribute( primitive, "COLOR_0" ); id >= 0 )
    {
        auto colors = accessors_.colors( id );
        if ( !colors )
            return tl::unexpected( colors.error() );
        if ( colors->size() != cloud->points.size() )
            return damaged( "a point cloud has more or fewer colours than points" );
        cloud->colors = std::move( *colors );
    }
    const Vector3d origin = moveToOrigin( cloud->points );
    return Part{
        .mesh = {}, .points = std::move( cloud ), .lines = {}, .origin = origin, .color = materialColor_( primitive ) };
}

tl::expected<GlbReader::Part, std::string> GlbReader::lines_( const Json::Value& primitive )
{
    auto points = accessors_.vectors( attribute( primitive, "POSITION" ) );
    if ( !points )
        return tl::unexpected( points.error() );
    auto segments = segments_( primitive, points->size() );
    if ( !segments )
        return tl::unexpected( segments.error() );
    const Vector3d origin = moveToOrigin( *points );
    auto lines = std::make_shared<Lines>( Lines{ std::move( *points ), std::move( *segments ) } );
    return Part{
        .mesh = {}, .points = {}, .lines = std::move( lines ), .origin = origin, .color = materialColor_( primitive ) };
}

tl::expected<GlbReader::Part, std::string> GlbReader::part_( const Json::Value& primitive, const Json::Value* edges )
{
    const Mode mode = modeOf( primitive );
    return mode == Mode::Points ? cloud_( primitive )
           : isSurface( mode )  ? surface_( primitive, edges )
                                : lines_( primitive );
}

tl::expected<GlbReader::Parts, std::string> GlbReader::readParts_( const Json::Value& mesh )
{
    Parts parts;
    const auto& primitives = mesh["primitives"];
    if ( !primitives.isArray() )
        return parts;
    const EdgesBySurface edges( primitives );
    for ( const auto& primitive : primitives )
    {
        if ( !goesOn_() )
            return tl::unexpected( std::string( cOperationCanceled ) );
        if ( !primitive.isObject() )
            return damaged( "a primitive is not an object" );
        if ( edges.belongToASurface( primitive ) )
            continue;
        if ( !isKnown( modeOf( primitive ) ) )
        {
            ++skippedPrimitives_;
            continue;
        }
        auto part = part_( primitive, edges.of( primitive ) );
        if ( !part )
            return tl::unexpected( part.error() );
        parts.push_back( std::move( *part ) );
    }
    return parts;
}

/// By the description alone: instances of a mesh of many parts cost a few bytes each there.
bool GlbReader::asksForTooMuch_() const
{
    const auto& nodes = root_["nodes"];
    std::unordered_map<int64_t, size_t> parts;
    size_t objects = 0;
    for ( Json::ArrayIndex i = 0; nodes.isArray() && i < nodes.size() && objects <= cMaxObjects; ++i )
    {
        const auto index = integerMember( nodes[i], "mesh", -1 );
        const auto [known, isNew] = parts.try_emplace( index, 0 );
        if ( isNew )
            known->second = partCount( element( root_, "meshes", index ) );
        objects += known->second > 1 ? known->second + 1 : 1;
    }
    return objects > cMaxObjects;
}

tl::expected<const GlbReader::Parts*, std::string> GlbReader::parts_( int64_t mesh )
{
    if ( const auto it = partsByMesh_.find( mesh ); it != partsByMesh_.end() )
        return &it->second;
    const auto& json = element( root_, "meshes", mesh );
    if ( !json.isObject() )
        return damaged( "a mesh is missing" );
    auto parts = readParts_( json );
    if ( !parts )
        return tl::unexpected( parts.error() );
    const auto total = std::max<size_t>( root_["meshes"].size(), 1 );
    const auto& stored = partsByMesh_.emplace( mesh, std::move( *parts ) ).first->second;
    fraction_ = float( partsByMesh_.size() ) / float( total );
    if ( !goesOn_() )
        return tl::unexpected( std::string( cOperationCanceled ) );
    return &stored;
}

tl::expected<void, std::string> GlbReader::addChildren_( Object& object, const Json::Value& node, int depth )
{
    const auto& children = node["children"];
    if ( !children.isArray() )
        return {};
    for ( const auto& child : children )
    {
        auto made = node_( child.isInt64() ? child.asInt64() : -1, depth + 1 );
        if ( !made )
            return tl::unexpected( made.error() );
        object.addChild( std::move( *made ) );
    }
    return {};
}

tl::expected<std::shared_ptr<const Volume>, std::string> GlbReader::volume_( int64_t index )
{
    if ( const auto it = volumes_.find( index ); it != volumes_.end() )
        return it->second;
    const auto& description = element( root_["extensions"][cVolumeExtension], "volumes", index );
    if ( !description.isObject() )
        return damaged( "a volume is missing" );
    const auto packed = accessors_.bytes( integerMember( description, "bufferView", -1 ) );
    if ( !packed )
        return tl::unexpected( packed.error() );
    auto volume = unpackVolume( description, *packed, voxelBudget_, subprogress( progress_, fraction_, 1 ) );
    if ( !volume )
        return tl::unexpected( volume.error() );
    return volumes_[index] = std::make_shared<const Volume>( std::move( *volume ) );
}

GlbReader::Result GlbReader::volumeObject_( const Json::Value& extension )
{
    const auto volume = volume_( integerMember( extension, "volume", -1 ) );
    if ( !volume )
        return tl::unexpected( volume.error() );
    auto object = std::make_shared<ObjectVolume>();
    object->setVolume( *volume );
    if ( std::array<double, 4> c; readNumbers( extension["color"], c ) )
    {
        const auto byte = []( double v ) { return uint8_t( std::clamp( v, 0., 255. ) ); };
        object->setColor( { byte( c[0] ), byte( c[1] ), byte( c[2] ), byte( c[3] ) } );
    }
    return object;
}

GlbReader::Result GlbReader::meshObject_( const Json::Value& node, int64_t mesh )
{
    const auto parts = parts_( mesh );
    if ( !parts )
        return tl::unexpected( parts.error() );
    // Children of the node do not stand in the space that its geometry's own origin makes.
    if ( ( *parts )->size() == 1 && ( ( *parts )->front().origin == Vector3d{} || !node.isMember( "children" ) ) )
        return makeObject( ( *parts )->front() );
    auto object = std::make_shared<Object>();
    for ( const auto& part : **parts )
    {
        auto child = makeObject( part );
        child->setName( "Part " + std::to_string( object->children().size() + 1 ) );
        object->addChild( child );
    }
    return object;
}

GlbReader::Result GlbReader::content_( const Json::Value& node )
{
    const auto& extensions = node["extensions"];
    if ( extensions.isObject() && extensions[cVolumeExtension].isObject() )
        return volumeObject_( extensions[cVolumeExtension] );
    const auto mesh = integerMember( node, "mesh", -1 );
    return mesh >= 0 ? meshObject_( node, mesh ) : std::make_shared<Object>();
}

GlbReader::Result GlbReader::node_( int64_t index, int depth )
{
    const auto& node = element( root_, "nodes", index );
    if ( !node.isObject() )
        return damaged( "a node is missing" );
    if ( depth > cMaxDepth || !visited_.insert( index ).second )
        return damaged( "its tree of nodes has a cycle or is too deep" );
    if ( visited_.size() % cBetweenLooks == 1 && !goesOn_() )
        return tl::unexpected( std::string( cOperationCanceled ) );

    auto content = content_( node );
    if ( !content )
        return content;
    const auto object = std::move( *content );
    object->setName( textMember( node, "name", "Object" ) );
    object->setXf( nodeXf( node ) * object->xf() );
    object->setVisible( extraFlag( node, "visible", true ) );
    object->select( extraFlag( node, "selected", false ) );
    if ( auto added = addChildren_( *object, node, depth ); !added )
        return tl::unexpected( added.error() );
    return object;
}

tl::expected<void, std::string> GlbReader::addRoot_( int64_t index, LoadedObjects& out )
{
    auto object = node_( index, 0 );
    if ( !object )
        return tl::unexpected( object.error() );
    if ( extraFlag( element( root_, "nodes", index ), "frame", false ) )
    {
        // Taking the last one away is quick, however many there are.
        const auto first = ptrdiff_t( out.objects.size() );
        while ( !( *object )->children().empty() )
            out.objects.push_back( ( *object )->children().back()->detach() );
        std::reverse( out.objects.begin() + first, out.objects.end() );
        return {};
    }
    ( *object )->setXf( yUpToZUp() * ( *object )->xf() );
    out.objects.push_back( std::move( *object ) );
    return {};
}

tl::expected<LoadedObjects, std::string> GlbReader::read()
{
    LoadedObjects out;
    const auto& scene = element( root_, "scenes", integerMember( root_, "scene", 0 ) );
    const auto& nodes = scene.isObject() ? scene["nodes"] : Json::Value::nullSingleton();
    if ( !nodes.isArray() || nodes.empty() )
        return tl::unexpected( std::string( "The file holds no scene" ) );
    if ( asksForTooMuch_() )
        return tl::unexpected( "It asks for more than " + std::to_string( cMaxObjects ) + " objects" );
    for ( const auto& node : nodes )
        if ( auto added = addRoot_( node.isInt64() ? node.asInt64() : -1, out ); !added )
            return tl::unexpected( added.error() );
    if ( skippedPrimitives_ > 0 )
        out.warnings = std::to_string( skippedPrimitives_ ) + " parts of an unknown kind were left out";
    return out;
}

} // namespace VX::Gltf
