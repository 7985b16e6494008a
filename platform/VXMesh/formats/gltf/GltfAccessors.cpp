#include <VXMesh/formats/gltf/GltfAccessors.h>

#include <VXMesh/formats/gltf/GltfColor.h>
#include <VXMesh/io/Json.h>
#include <VXMesh/io/Progress.h>

#include <meshoptimizer.h>

#include <algorithm>
#include <cstring>

namespace VX::Gltf
{
namespace
{

// The codec spends at least this share of the unpacked size: 4 header bytes for every 256 values of a byte column.
constexpr uint64_t cLargestRatio = 64;
constexpr size_t cBetweenLooks = size_t( 1 ) << 18; // at whether to go on

tl::unexpected<std::string> damaged( std::string what )
{
    return tl::unexpected( "The file is damaged: " + std::move( what ) );
}

tl::unexpected<std::string> canceled()
{
    return tl::unexpected( std::string( cOperationCanceled ) );
}

size_t componentSize( int type )
{
    switch ( type )
    {
    case 5120:
    case 5121:
        return 1;
    case 5122:
    case 5123:
        return 2;
    case 5125:
    case 5126:
        return 4;
    default:
        return 0;
    }
}

int componentCount( const Json::Value& type )
{
    if ( !type.isString() )
        return 0;
    const auto text = type.asString();
    if ( text == "SCALAR" )
        return 1;
    if ( text.size() == 4 && text.starts_with( "VEC" ) && text[3] >= '2' && text[3] <= '4' )
        return text[3] - '0';
    return 0;
}

template <typename T>
T load( const std::byte* p )
{
    T value;
    std::memcpy( &value, p, sizeof( T ) );
    return value;
}

float component( const std::byte* p, int type, bool normalized )
{
    switch ( type )
    {
    case 5120:
        return normalized ? std::max( float( load<int8_t>( p ) ) / 127.f, -1.f ) : float( load<int8_t>( p ) );
    case 5121:
        return float( load<uint8_t>( p ) ) / ( normalized ? 255.f : 1.f );
    case 5122:
        return normalized ? std::max( float( load<int16_t>( p ) ) / 32767.f, -1.f ) : float( load<int16_t>( p ) );
    case 5123:
        return float( load<uint16_t>( p ) ) / ( normalized ? 65535.f : 1.f );
    case 5125:
        return float( load<uint32_t>( p ) );
    default:
        return load<float>( p );
    }
}

struct Compression
{
    size_t count = 0;
    size_t stride = 0;
    std::string mode;
    std::string filter;
};

/// The codec asserts what it was promised, so the promise is checked here.
bool isValid( const Compression& c )
{
    const bool filterFits = c.filter == "NONE" || ( c.filter == "OCTAHEDRAL" && ( c.stride == 4 || c.stride == 8 ) ) ||
                            ( c.filter == "QUATERNION" && c.stride == 8 ) ||
                            ( c.filter == "EXPONENTIAL" && c.stride % 4 == 0 );
    if ( c.mode == "ATTRIBUTES" )
        return c.stride >= 4 && c.stride <= 256 && c.stride % 4 == 0 && filterFits;
    if ( c.mode == "TRIANGLES" )
        return ( c.stride == 2 || c.stride == 4 ) && c.count % 3 == 0 && c.filter == "NONE";
    return c.mode == "INDICES" && ( c.stride == 2 || c.stride == 4 ) && c.filter == "NONE";
}

bool decode( const Compression& c, std::span<const std::byte> packed, std::vector<std::byte>& out )
{
    const auto* bytes = reinterpret_cast<const unsigned char*>( packed.data() );
    if ( c.mode == "TRIANGLES" )
        return meshopt_decodeIndexBuffer( out.data(), c.count, c.stride, bytes, packed.size() ) == 0;
    if ( c.mode == "INDICES" )
        return meshopt_decodeIndexSequence( out.data(), c.count, c.stride, bytes, packed.size() ) == 0;
    if ( meshopt_decodeVertexBuffer( out.data(), c.count, c.stride, bytes, packed.size() ) != 0 )
        return false;
    if ( c.filter == "OCTAHEDRAL" )
        meshopt_decodeFilterOct( out.data(), c.count, c.stride );
    else if ( c.filter == "QUATERNION" )
        meshopt_decodeFilterQuat( out.data(), c.count, c.stride );
    else if ( c.filter == "EXPONENTIAL" )
        meshopt_decodeFilterExp( out.data(), c.count, c.stride );
    return true;
}

} // namespace

int64_t integerMember( const Json::Value& object, const char* key, int64_t fallback )
{
    if ( !object.isObject() )
        return fallback;
    const auto& member = object[key];
    return member.isInt64() && member.asInt64() >= 0 ? member.asInt64() : fallback;
}

const Json::Value& element( const Json::Value& root, const char* array, int64_t index )
{
    if ( !root.isObject() )
        return Json::Value::nullSingleton();
    const auto& member = root[array];
    if ( !member.isArray() || index < 0 || index >= int64_t( member.size() ) )
        return Json::Value::nullSingleton();
    return member[Json::ArrayIndex( index )];
}

Accessors::Accessors( const Json::Value& root, std::span<const std::byte> binary, std::function<bool()> goesOn )
    : root_( root )
    , binary_( binary )
    , goesOn_( std::move( goesOn ) )
    // A small file can name one block of bytes many times over; this bounds what it can make us hold.
    , budget_( ( uint64_t( 64 ) << 20 ) + binary.size() * 200 )
{
}

bool Accessors::spend_( uint64_t bytes )
{
    if ( bytes > budget_ )
        return false;
    budget_ -= bytes;
    return true;
}

/// False when it was stopped.
template <typename Each>
bool Accessors::forAll_( size_t count, const Each& each ) const
{
    for ( size_t begin = 0; begin < count; begin += cBetweenLooks )
    {
        if ( !goesOn_() )
            return false;
        for ( size_t i = begin; i < std::min( begin + cBetweenLooks, count ); ++i )
            each( i );
    }
    return true;
}

tl::expected<std::span<const std::byte>, std::string> Accessors::slice_( const Json::Value& view )
{
    if ( integerMember( view, "buffer", -1 ) != 0 )
        return tl::unexpected(
            std::string( "The file keeps its geometry in another file; open the .gltf form instead" ) );
    const auto offset = uint64_t( integerMember( view, "byteOffset", 0 ) );
    const auto length = uint64_t( integerMember( view, "byteLength", 0 ) );
    if ( length == 0 || offset > binary_.size() || length > binary_.size() - offset )
        return damaged( "a buffer view lies outside of the data" );
    return binary_.subspan( offset, length );
}

tl::expected<std::span<const std::byte>, std::string> Accessors::bytes( int64_t view )
{
    const auto& json = element( root_, "bufferViews", view );
    if ( !json.isObject() )
        return damaged( "a buffer view is missing" );
    return slice_( json );
}

tl::expected<Accessors::View, std::string> Accessors::plainView_( const Json::Value& view )
{
    auto bytes = slice_( view );
    if ( !bytes )
        return tl::unexpected( bytes.error() );
    return View{ *bytes, size_t( integerMember( view, "byteStride", 0 ) ), {} };
}

tl::expected<Accessors::View, std::string> Accessors::compressedView_( const Json::Value& extension )
{
    const auto packed = slice_( extension );
    if ( !packed )
        return tl::unexpected( packed.error() );
    const Compression c{ size_t( integerMember( extension, "count", 0 ) ),
        size_t( integerMember( extension, "byteStride", 0 ) ), textMember( extension, "mode" ),
        textMember( extension, "filter", "NONE" ) };
    if ( !isValid( c ) || c.count > UINT32_MAX )
        return damaged( "a packed buffer has an unknown layout" );
    const uint64_t size = uint64_t( c.count ) * c.stride;
    if ( size > packed->size() * cLargestRatio + 4096 || !spend_( size ) )
        return damaged( "a packed buffer claims more than it can hold" );
    View view;
    view.decoded = std::make_shared<std::vector<std::byte>>( size );
    if ( !decode( c, *packed, *view.decoded ) )
        return damaged( "a packed buffer cannot be decoded" );
    view.bytes = *view.decoded;
    view.stride = c.stride;
    return view;
}

tl::expected<Accessors::View, std::string> Accessors::view_( int64_t index )
{
    if ( const auto it = views_.find( index ); it != views_.end() )
        return it->second;
    const auto& json = element( root_, "bufferViews", index );
    if ( !json.isObject() )
        return damaged( "a buffer view is missing" );
    const auto& extensions = json["extensions"];
    const bool compressed = extensions.isObject() && extensions["EXT_meshopt_compression"].isObject();
    auto view = compressed ? compressedView_( extensions["EXT_meshopt_compression"] ) : plainView_( json );
    if ( view )
        views_.emplace( index, *view );
    return view;
}

tl::expected<Accessors::Elements, std::string> Accessors::elements_( int64_t accessor )
{
    const auto& json = element( root_, "accessors", accessor );
    if ( !json.isObject() )
        return damaged( "an accessor is missing" );
    if ( json.isMember( "sparse" ) )
        return tl::unexpected( std::string( "The file uses sparse accessors, which cannot be read" ) );
    auto view = view_( integerMember( json, "bufferView", -1 ) );
    if ( !view )
        return tl::unexpected( view.error() );

    Elements out;
    out.componentType = int( integerMember( json, "componentType", 0 ) & 0xffff );
    out.components = componentCount( json["type"] );
    out.normalized = json["normalized"].isBool() && json["normalized"].asBool();
    out.count = size_t( integerMember( json, "count", 0 ) );
    const size_t elementSize = componentSize( out.componentType ) * size_t( out.components );
    out.stride = view->stride ? view->stride : elementSize;
    const auto offset = uint64_t( integerMember( json, "byteOffset", 0 ) );
    if ( elementSize == 0 || out.stride < elementSize || out.stride > 256 || out.count == 0 || out.count > UINT32_MAX )
        return damaged( "an accessor has an unknown layout" );
    const uint64_t needed = uint64_t( out.count - 1 ) * out.stride + elementSize;
    if ( offset > view->bytes.size() || needed > view->bytes.size() - offset )
        return damaged( "an accessor reaches beyond its buffer" );
    if ( !spend_( out.count * sizeof( Vector3f ) ) )
        return damaged( "it unpacks to more than it can hold" );
    out.bytes = view->bytes.subspan( offset, needed );
    return out;
}

tl::expected<std::vector<Vector3f>, std::string> Accessors::vectors( int64_t accessor )
{
    const auto e = elements_( accessor );
    if ( !e )
        return tl::unexpected( e.error() );
    if ( e->components != 3 )
        return damaged( "an accessor of points or normals is not of type VEC3" );
    std::vector<Vector3f> out( e->count );
    if ( e->componentType == 5126 && e->stride == sizeof( Vector3f ) )
    {
        std::memcpy( out.data(), e->bytes.data(), out.size() * sizeof( Vector3f ) );
        return out;
    }
    const size_t size = componentSize( e->componentType );
    const auto convert = [&]( size_t i )
    {
        const std::byte* p = e->bytes.data() + i * e->stride;
        out[i] = { component( p, e->componentType, e->normalized ),
            component( p + size, e->componentType, e->normalized ),
            component( p + 2 * size, e->componentType, e->normalized ) };
    };
    if ( !forAll_( out.size(), convert ) )
        return canceled();
    return out;
}

tl::expected<std::vector<Color>, std::string> Accessors::colors( int64_t accessor )
{
    const auto e = elements_( accessor );
    if ( !e )
        return tl::unexpected( e.error() );
    if ( e->components < 3 )
        return damaged( "an accessor of colours is not of type VEC3 or VEC4" );
    const size_t size = componentSize( e->componentType );
    const bool normalized = e->componentType != 5126;
    std::vector<Color> out( e->count );
    const auto convert = [&]( size_t i )
    {
        std::array<float, 4> c{ 0, 0, 0, 1 };
        for ( size_t k = 0; k < size_t( e->components ); ++k )
            c[k] = component( e->bytes.data() + i * e->stride + k * size, e->componentType, normalized );
        out[i] = fromLinear( c );
    };
    if ( !forAll_( out.size(), convert ) )
        return canceled();
    return out;
}

tl::expected<std::vector<uint32_t>, std::string> Accessors::indices( int64_t accessor )
{
    const auto e = elements_( accessor );
    if ( !e )
        return tl::unexpected( e.error() );
    const bool known = e->componentType == 5121 || e->componentType == 5123 || e->componentType == 5125;
    if ( e->components != 1 || !known )
        return damaged( "an accessor of indices has an unknown type" );
    std::vector<uint32_t> out( e->count );
    const auto convert = [&]( size_t i )
    {
        const std::byte* p = e->bytes.data() + i * e->stride;
        out[i] = e->componentType == 5125   ? load<uint32_t>( p )
                 : e->componentType == 5123 ? load<uint16_t>( p )
                                            : load<uint8_t>( p );
    };
    if ( !forAll_( out.size(), convert ) )
        return canceled();
    return out;
}

} // namespace VX::Gltf
