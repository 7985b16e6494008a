#pragma once

#include <VXMesh/Export.h>
#include <VXMesh/math/Color.h>
#include <VXMesh/math/Vector3.h>

#include <json/value.h>
#include <tl/expected.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace VX::Gltf
{

/// A member as a non-negative integer, or `fallback` when it is missing or anything else.
[[nodiscard]] VXMESH_API int64_t integerMember( const Json::Value& object, const char* key, int64_t fallback );

/// An element of an array member such as "accessors"; null when the index or the member is not there.
[[nodiscard]] VXMESH_API const Json::Value& element( const Json::Value& root, const char* array, int64_t index );

/// Reads the accessors of one GLB file. Every count, offset and size in the JSON is taken for a claim and checked
/// against the bytes before anything is allocated by it.
class Accessors
{
public:
    /// The first two must outlive this object. `goesOn` is asked often; once it is false, what is read is canceled.
    Accessors( const Json::Value& root, std::span<const std::byte> binary, std::function<bool()> goesOn );

    [[nodiscard]] tl::expected<std::vector<Vector3f>, std::string> vectors( int64_t accessor );
    [[nodiscard]] tl::expected<std::vector<Color>, std::string> colors( int64_t accessor );
    [[nodiscard]] tl::expected<std::vector<uint32_t>, std::string> indices( int64_t accessor );
    /// Of a buffer view that is not packed; they live as long as the file's.
    [[nodiscard]] tl::expected<std::span<const std::byte>, std::string> bytes( int64_t view );

private:
    struct View
    {
        std::span<const std::byte> bytes;
        size_t stride = 0;
        std::shared_ptr<std::vector<std::byte>> decoded;
    };
    struct Elements
    {
        std::span<const std::byte> bytes;
        size_t stride = 0;
        size_t count = 0;
        int componentType = 0;
        int components = 0;
        bool normalized = false;
    };

    tl::expected<View, std::string> view_( int64_t index );
    tl::expected<View, std::string> plainView_( const Json::Value& view );
    tl::expected<View, std::string> compressedView_( const Json::Value& extension );
    tl::expected<std::span<const std::byte>, std::string> slice_( const Json::Value& view );
    tl::expected<Elements, std::string> elements_( int64_t accessor );
    bool spend_( uint64_t bytes );
    template <typename Each>
    bool forAll_( size_t count, const Each& each ) const;

    const Json::Value& root_;
    std::span<const std::byte> binary_;
    std::unordered_map<int64_t, View> views_;
    std::function<bool()> goesOn_;
    uint64_t budget_;
};

} // namespace VX::Gltf
