#pragma once

#include <json/value.h>
#include <meshoptimizer.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace VX::Gltf
{

/// As the format numbers them.
enum ComponentType
{
    Short = 5122,
    UnsignedShort = 5123,
    UnsignedInt = 5125,
    Float = 5126
};

/// Packs buffers one after the other and describes them as buffer views and accessors.
class BufferPacker
{
public:
    /// `data` holds `count` elements of `stride` bytes; a "filter" of null means none.
    int addAttribute( const void* data, size_t count, size_t stride, const char* filter = nullptr )
    {
        std::vector<unsigned char> packed( meshopt_encodeVertexBufferBound( count, stride ) );
        packed.resize( meshopt_encodeVertexBuffer( packed.data(), packed.size(), data, count, stride ) );
        return addView_( packed, count, stride, "ATTRIBUTES", filter );
    }

    int addTriangles( const std::vector<uint32_t>& indices, size_t pointCount )
    {
        std::vector<unsigned char> packed( meshopt_encodeIndexBufferBound( indices.size(), pointCount ) );
        packed.resize( meshopt_encodeIndexBuffer( packed.data(), packed.size(), indices.data(), indices.size() ) );
        return addView_( packed, indices.size(), sizeof( uint32_t ), "TRIANGLES", nullptr );
    }

    int addIndices( const std::vector<uint32_t>& indices, size_t pointCount )
    {
        std::vector<unsigned char> packed( meshopt_encodeIndexSequenceBound( indices.size(), pointCount ) );
        packed.resize( meshopt_encodeIndexSequence( packed.data(), packed.size(), indices.data(), indices.size() ) );
        return addView_( packed, indices.size(), sizeof( uint32_t ), "INDICES", nullptr );
    }

    /// Bytes as they are.
    int addBytes( const std::vector<unsigned char>& plain )
    {
        Json::Value view;
        view["buffer"] = 0;
        view["byteOffset"] = Json::UInt64( bytes.size() );
        view["byteLength"] = Json::UInt64( plain.size() );
        views.append( std::move( view ) );
        append_( plain );
        return int( views.size() ) - 1;
    }

    int addAccessor( int view, ComponentType type, const char* shape, size_t count )
    {
        Json::Value accessor;
        accessor["bufferView"] = view;
        accessor["componentType"] = int( type );
        accessor["count"] = Json::UInt64( count );
        accessor["type"] = shape;
        if ( type == Short || type == UnsignedShort )
            accessor["normalized"] = true;
        accessors.append( std::move( accessor ) );
        return int( accessors.size() ) - 1;
    }

    Json::Value views{ Json::arrayValue };
    Json::Value accessors{ Json::arrayValue };
    std::vector<unsigned char> bytes;
    uint64_t unpackedSize = 0;

private:
    void append_( const std::vector<unsigned char>& packed )
    {
        bytes.insert( bytes.end(), packed.begin(), packed.end() );
        bytes.resize( ( bytes.size() + 3 ) / 4 * 4 );
    }

    int addView_(
        const std::vector<unsigned char>& packed, size_t count, size_t stride, const char* mode, const char* filter )
    {
        Json::Value extension;
        extension["buffer"] = 0;
        extension["byteOffset"] = Json::UInt64( bytes.size() );
        extension["byteLength"] = Json::UInt64( packed.size() );
        extension["byteStride"] = Json::UInt64( stride );
        extension["count"] = Json::UInt64( count );
        extension["mode"] = mode;
        if ( filter )
            extension["filter"] = filter;

        Json::Value view;
        view["buffer"] = 1;
        view["byteOffset"] = Json::UInt64( unpackedSize );
        view["byteLength"] = Json::UInt64( count * stride );
        if ( std::strcmp( mode, "ATTRIBUTES" ) == 0 )
            view["byteStride"] = Json::UInt64( stride );
        view["extensions"]["EXT_meshopt_compression"] = std::move( extension );
        views.append( std::move( view ) );

        append_( packed );
        unpackedSize += ( count * stride + 3 ) / 4 * 4;
        return int( views.size() ) - 1;
    }
};

} // namespace VX::Gltf
