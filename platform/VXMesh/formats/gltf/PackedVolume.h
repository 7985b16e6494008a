#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/volume/Volume.h>

#include <json/value.h>
#include <tl/expected.hpp>

namespace VX::Gltf
{

/// The extension of glTF that voxels stand under. The file's own names the volumes:
///
///     "VX_volume": { "volumes": [ { "type": 3, "size": [ 512, 512, 400 ], "spacing": [ 0.5, 0.5, 1 ],
///         "direction": [ nine numbers by rows ], "origin": [ 0, 0, 0 ], "slope": 1, "intercept": 0, "unit": "HU",
///         "window": [ center, width ], "bufferView": 7 } ] }
///
/// and a node's has "volume", an index into them, and "color", four numbers 0 to 255. The buffer view has 8 bytes for
/// each brick, in the order of `Volume::bricks`: how many bytes it has when packed, and 0; or 0, and the number of an
/// earlier brick that is the same. The packed bricks follow, each a deflate stream of little-endian voxels. "type" is
/// the number of the `VoxelType`.
inline constexpr const char* cVolumeExtension = "VX_volume";

/// What the file says of a volume, without its buffer view.
[[nodiscard]] Json::Value describeVolume( const Volume& volume );

/// The bytes of its buffer view, packed on all cores. Fails when stopped, or when they are more than `most`.
[[nodiscard]] tl::expected<std::vector<unsigned char>, std::string> packVolume(
    const Volume& volume, uint64_t most, const ProgressCallback& progress );

/// Makes the volume again. Every number of the description is taken for a claim: nothing is allocated that the bytes do
/// not bear out, and no more than `budget` bytes of voxels, which are taken off it. The error says what is wrong.
[[nodiscard]] tl::expected<Volume, std::string> unpackVolume( const Json::Value& description,
    std::span<const std::byte> packed, uint64_t& budget, const ProgressCallback& progress );

} // namespace VX::Gltf
