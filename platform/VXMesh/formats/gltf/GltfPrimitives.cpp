#include <VXMesh/formats/gltf/GltfPrimitives.h>

#include <VXMesh/formats/gltf/GltfAccessors.h>

#include <algorithm>

namespace VX::Gltf
{
namespace
{

template <size_t N>
std::vector<std::array<uint32_t, N>> grouped( const std::vector<uint32_t>& corners )
{
    std::vector<std::array<uint32_t, N>> out( corners.size() / N );
    for ( size_t i = 0; i < out.size(); ++i )
        for ( size_t k = 0; k < N; ++k )
            out[i][k] = corners[i * N + k];
    return out;
}

} // namespace

Mode modeOf( const Json::Value& primitive )
{
    return Mode( integerMember( primitive, "mode", int64_t( Mode::Triangles ) ) );
}

bool isKnown( Mode mode )
{
    return mode >= Mode::Points && mode <= Mode::TriangleFan;
}

bool isSurface( Mode mode )
{
    return mode >= Mode::Triangles && mode <= Mode::TriangleFan;
}

int64_t attribute( const Json::Value& primitive, const char* name )
{
    return integerMember( primitive["attributes"], name, -1 );
}

std::vector<Segment> segmentsOf( Mode mode, const std::vector<uint32_t>& corners )
{
    if ( mode == Mode::Lines || corners.size() < 2 )
        return grouped<2>( corners );
    std::vector<Segment> out;
    out.reserve( corners.size() );
    for ( size_t i = 1; i < corners.size(); ++i )
        out.push_back( { corners[i - 1], corners[i] } );
    if ( mode == Mode::LineLoop )
        out.push_back( { corners.back(), corners.front() } );
    return out;
}

std::vector<Triangle> trianglesOf( Mode mode, const std::vector<uint32_t>& corners )
{
    if ( mode == Mode::Triangles || corners.size() < 3 )
        return grouped<3>( corners );
    std::vector<Triangle> out;
    out.reserve( corners.size() );
    for ( size_t i = 2; i < corners.size(); ++i )
    {
        const uint32_t first = mode == Mode::TriangleFan ? corners.front() : corners[i - 2];
        // Every other triangle of a strip runs the other way round.
        if ( mode == Mode::TriangleStrip && i % 2 == 1 )
            out.push_back( { corners[i - 1], first, corners[i] } );
        else
            out.push_back( { first, corners[i - 1], corners[i] } );
    }
    return out;
}

EdgesBySurface::EdgesBySurface( const Json::Value& primitives )
{
    for ( const auto& primitive : primitives )
        if ( primitive.isObject() && modeOf( primitive ) == Mode::Triangles )
            surfaces_.try_emplace( attribute( primitive, "POSITION" ), nullptr );
    for ( const auto& primitive : primitives )
        if ( primitive.isObject() && belongToASurface( primitive ) )
            surfaces_[attribute( primitive, "POSITION" )] = &primitive;
}

bool EdgesBySurface::belongToASurface( const Json::Value& primitive ) const
{
    return modeOf( primitive ) == Mode::Lines && surfaces_.contains( attribute( primitive, "POSITION" ) );
}

const Json::Value* EdgesBySurface::of( const Json::Value& primitive ) const
{
    if ( modeOf( primitive ) != Mode::Triangles )
        return nullptr;
    const auto it = surfaces_.find( attribute( primitive, "POSITION" ) );
    return it == surfaces_.end() ? nullptr : it->second;
}

size_t partCount( const Json::Value& mesh )
{
    const auto& primitives = mesh.isObject() ? mesh["primitives"] : Json::Value::nullSingleton();
    if ( !primitives.isArray() )
        return 0;
    const EdgesBySurface edges( primitives );
    return size_t( std::count_if( primitives.begin(), primitives.end(), [&]( const Json::Value& primitive )
        { return primitive.isObject() && isKnown( modeOf( primitive ) ) && !edges.belongToASurface( primitive ); } ) );
}

} // namespace VX::Gltf
