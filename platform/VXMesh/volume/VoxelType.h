#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace VX
{

/// What a voxel is stored as. The numbers stand in `.vxu` files.
enum class VoxelType : uint8_t
{
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Float32
};

inline constexpr int cVoxelTypes = 7;

/// A C++ type that voxels are stored as.
template <typename T>
concept Voxel =
    std::same_as<T, int8_t> || std::same_as<T, uint8_t> || std::same_as<T, int16_t> || std::same_as<T, uint16_t> ||
    std::same_as<T, int32_t> || std::same_as<T, uint32_t> || std::same_as<T, float>;

template <Voxel T>
inline constexpr VoxelType cVoxelTypeOf = std::same_as<T, int8_t>     ? VoxelType::Int8
                                          : std::same_as<T, uint8_t>  ? VoxelType::UInt8
                                          : std::same_as<T, int16_t>  ? VoxelType::Int16
                                          : std::same_as<T, uint16_t> ? VoxelType::UInt16
                                          : std::same_as<T, int32_t>  ? VoxelType::Int32
                                          : std::same_as<T, uint32_t> ? VoxelType::UInt32
                                                                      : VoxelType::Float32;

/// Calls `work` with a zero of the C++ type of `type`, and returns what it returns.
template <typename Work>
decltype( auto ) withVoxelType( VoxelType type, const Work& work )
{
    switch ( type )
    {
    case VoxelType::Int8:
        return work( int8_t{} );
    case VoxelType::UInt8:
        return work( uint8_t{} );
    case VoxelType::Int16:
        return work( int16_t{} );
    case VoxelType::UInt16:
        return work( uint16_t{} );
    case VoxelType::Int32:
        return work( int32_t{} );
    case VoxelType::UInt32:
        return work( uint32_t{} );
    case VoxelType::Float32:
        break;
    }
    return work( float{} );
}

/// Bytes of one voxel: 1, 2 or 4.
[[nodiscard]] inline size_t sizeOf( VoxelType type )
{
    return withVoxelType( type, []( auto zero ) { return sizeof zero; } );
}

/// As a user reads it: "16 bit unsigned".
[[nodiscard]] constexpr std::string_view nameOf( VoxelType type )
{
    switch ( type )
    {
    case VoxelType::Int8:
        return "8 bit signed";
    case VoxelType::UInt8:
        return "8 bit unsigned";
    case VoxelType::Int16:
        return "16 bit signed";
    case VoxelType::UInt16:
        return "16 bit unsigned";
    case VoxelType::Int32:
        return "32 bit signed";
    case VoxelType::UInt32:
        return "32 bit unsigned";
    case VoxelType::Float32:
        break;
    }
    return "32 bit float";
}

} // namespace VX
