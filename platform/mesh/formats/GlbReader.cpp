#include <VXMesh/formats/GlbReader.h>

#include <VXMesh/formats/GltfColor.h>

namespace VX::Gltf
{
namespace
{

constexpr int cMaxDepth = 150;

enum class Mode : int64_t
{
    Points = 0,
    Lines = 1,
    Triangles = 4
};

tl::unexpected<std::string> damaged( const char* what )
{
    return tl::unexpected( std::string( "The file is damaged: " ) + what );
}

/// glTF is Y up, the scene is Z up.
AffineXf3f yUpToZUp()
{
    return { { { 1, 0, 0 }, { 0, 0, -1 }, { 0, 1, 0 } }, {} };
}

template <size_t N>
bool readNumbers( const Json::Value& array, std::array<float, N>& out )
{
    if ( !array.isArray() || array.size() != N )
        return false;
    for ( Json::ArrayIndex i = 0; i < N; ++i )
    {
        if ( !array[i].isNumeric() || !std::isfinite( array[i].asDouble() ) )
            return false;
        out[i] = float( array[i].asDouble() );
    }
    return true;
}

Matrix3f rotationOf( const std::array<float, 4>& q )
{
    const auto [x, y, z, w] = q;
    return { { 1 - 2 * ( y * y + z * z ), 2 * ( x * y - z * w ), 2 * ( x * z + y * w ) },
        { 2 * ( x * y + z * w ), 1 - 2 * ( x * x + z * z ), 2 * ( y * z - x * w ) },
        { 2 * ( x * z - y * w ), 2 * ( y * z + x * w ), 1 - 2 * ( x * x + y * y ) } };
}

AffineXf3f nodeXf( const Json::Value& node )
{
    if ( std::array<float, 16> m; readNumbers( node["matrix"], m ) )
        return { { { m[0], m[4], m[8] }, { m[1], m[5], m[9] }, { m[2], m[6], m[10] } }, { m[12], m[13], m[14] } };
    std::array<float, 3> t{ 0, 0, 0 }, s{ 1, 1, 1 };
    std::array<float, 4> q{ 0, 0, 0, 1 };
    if ( !readNumbers( node["translation"], t ) )
        t = { 0, 0, 0 };
    if ( !readNumbers( node["scale"], s ) )
        s = { 1, 1, 1 };
    if ( !readNumbers( node["rotation"], q ) )
        q = { 0, 0, 0, 1 };
    const Matrix3f scale{ { s[0], 0, 0 }, { 0, s[1], 0 }, { 0, 0, s[2] } };
    return { rotationOf( q ) * scale, { t[0], t[1], t[2] } };
}

bool extraFlag( const Json::Value& node, const char* key, bool fallback )
{
    const auto& extras = node["extras"];
    return extras.isObject() && extras[key].isBool() ? extras[key].asBool() : fallback;
}

Mode modeOf( const Json::Value& primitive )
{
    return Mode( integerMember( primitive, "mode", int64_t( Mode::Triangles ) ) );
}

int64_t attribute( const Json::Value& primitive, const char* name )
{
    return integerMember( primitive["attributes"], name, -1 );
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

template <size_t N>
std::vector<std::array<uint32_t, N>> grouped( const std::vector<uint32_t>& flat )
{
    std::vector<std::array<uint32_t, N>> out( flat.size() / N );
    for ( size_t i = 0; i < out.size(); ++i )
        for ( size_t k = 0; k < N; ++k )
            out[i][k] = flat[i * N + k];
    return out;
}

std::vector<uint32_t> countingUp( size_t count )
{
    std::vector<uint32_t> out( count );
    for ( size_t i = 0; i < count; ++i )
        out[i] = uint32_t( i );
    return out;
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
    return out;
}

} // namespace

GlbReader::GlbReader( const Json::Value& root, std::span<const std::byte> binary, ProgressCallback progress )
    : root_( root )
    , accessors_( root, binary )
    , progress_( std::move( progress ) )
{
}

Color GlbReader::materialColor_( const Json::Value& primitive ) const
{
    const auto& material = element( root_, "materials", integerMember( primitive, "material", -1 ) );
    if ( !material.isObject() || !material["pbrMetallicRoughness"].isObject() )
        return VisualObject::cDefaultColor;
    std::array<float, 4> factor{};
    return readNumbers( material["pbrMetallicRoughness"]["baseColorFactor"], factor ) ? fromLinear( factor )
                                                                                      : VisualObject::cDefaultColor;
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

tl::expected<std::vector<Segment>, std::string> GlbReader::segments_( const Json::Value& primitive, size_t pointCount )
{
    std::vector<uint32_t> flat;
    if ( const auto id = integerMember( primitive, "indices", -1 ); id >= 0 )
    {
        auto read = accessors_.indices( id );
        if ( !read )
            return tl::unexpected( read.error() );
        flat = std::move( *read );
    }
    else
        flat = countingUp( pointCount );
    auto segments = grouped<2>( flat );
    if ( !inRange( segments, pointCount ) )
        return damaged( "a line refers to a point that is not there" );
    return segments;
}

tl::expected<GlbReader::Part, std::string> GlbReader::surface_(
    const Json::Value& primitive, const Json::Value& primitives )
{
    const auto position = attribute( primitive, "POSITION" );
    auto points = accessors_.vectors( position );
    if ( !points )
        return tl::unexpected( points.error() );
    auto mesh = std::make_shared<Mesh>();
    mesh->points = std::move( *points );
    if ( const auto id = integerMember( primitive, "indices", -1 ); id >= 0 )
    {
        const auto flat = accessors_.indices( id );
        if ( !flat )
            return tl::unexpected( flat.error() );
        mesh->triangles = grouped<3>( *flat );
    }
    else
        mesh->triangles = grouped<3>( countingUp( mesh->points.size() ) );
    if ( auto read = attributes_( primitive, *mesh ); !read )
        return tl::unexpected( read.error() );
    for ( const auto& other : primitives )
        if ( other.isObject() && modeOf( other ) == Mode::Lines && attribute( other, "POSITION" ) == position )
        {
            auto edges = segments_( other, mesh->points.size() );
            if ( !edges )
                return tl::unexpected( edges.error() );
            mesh->edges = std::move( *edges );
        }
    if ( !isConsistent( *mesh ) )
        return damaged( "a surface refers to a point that is not there" );
    return Part{ .mesh = std::move( mesh ), .points = {}, .lines = {}, .color = materialColor_( primitive ) };
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
    return Part{ .mesh = {}, .points = std::move( cloud ), .lines = {}, .color = materialColor_( primitive ) };
}

tl::expected<GlbReader::Part, std::string> GlbReader::lines_( const Json::Value& primitive )
{
    auto points = accessors_.vectors( attribute( primitive, "POSITION" ) );
    if ( !points )
        return tl::unexpected( points.error() );
    auto segments = segments_( primitive, points->size() );
    if ( !segments )
        return tl::unexpected( segments.error() );
    auto lines = std::make_shared<Lines>( Lines{ std::move( *points ), std::move( *segments ) } );
    return Part{ .mesh = {}, .points = {}, .lines = std::move( lines ), .color = materialColor_( primitive ) };
}

tl::expected<GlbReader::Parts, std::string> GlbReader::readParts_( const Json::Value& mesh )
{
    Parts parts;
    const auto& primitives = mesh["primitives"];
    if ( !primitives.isArray() )
        return parts;
    std::unordered_set<int64_t> surfaces;
    for ( const auto& primitive : primitives )
        if ( primitive.isObject() && modeOf( primitive ) == Mode::Triangles )
            surfaces.insert( attribute( primitive, "POSITION" ) );
    for ( const auto& primitive : primitives )
    {
        if ( !primitive.isObject() )
            return damaged( "a primitive is not an object" );
        const auto mode = modeOf( primitive );
        if ( mode == Mode::Lines && surfaces.contains( attribute( primitive, "POSITION" ) ) )
            continue;
        if ( mode != Mode::Triangles && mode != Mode::Points && mode != Mode::Lines )
        {
            ++skippedPrimitives_;
            continue;
        }
        auto part = mode == Mode::Triangles ? surface_( primitive, primitives )
                    : mode == Mode::Points  ? cloud_( primitive )
                                            : lines_( primitive );
        if ( !part )
            return tl::unexpected( part.error() );
        parts.push_back( std::move( *part ) );
    }
    return parts;
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
    if ( !reportProgress( progress_, float( partsByMesh_.size() ) / float( total ) ) )
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

GlbReader::Result GlbReader::node_( int64_t index, int depth )
{
    const auto& node = element( root_, "nodes", index );
    if ( !node.isObject() )
        return damaged( "a node is missing" );
    if ( depth > cMaxDepth || !visited_.insert( index ).second )
        return damaged( "its tree of nodes has a cycle or is too deep" );

    std::shared_ptr<Object> object;
    const auto meshIndex = integerMember( node, "mesh", -1 );
    if ( meshIndex >= 0 )
    {
        const auto parts = parts_( meshIndex );
        if ( !parts )
            return tl::unexpected( parts.error() );
        if ( ( *parts )->size() == 1 )
            object = makeObject( ( *parts )->front() );
        else
        {
            object = std::make_shared<Object>();
            for ( const auto& part : **parts )
            {
                auto child = makeObject( part );
                child->setName( "Part " + std::to_string( object->children().size() + 1 ) );
                object->addChild( child );
            }
        }
    }
    else
        object = std::make_shared<Object>();
    object->setName( node["name"].isString() ? node["name"].asString() : "Object" );
    object->setXf( nodeXf( node ) );
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
        const auto children = ( *object )->children();
        for ( const auto& child : children )
            out.objects.push_back( child->detach() );
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
    for ( const auto& node : nodes )
        if ( auto added = addRoot_( node.isInt64() ? node.asInt64() : -1, out ); !added )
            return tl::unexpected( added.error() );
    if ( skippedPrimitives_ > 0 )
        out.warnings = std::to_string( skippedPrimitives_ ) + " strips, fans or line loops were left out";
    return out;
}

} // namespace VX::Gltf
