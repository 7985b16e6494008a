#pragma once

#include <VXMesh/volume/Volume.h>

#include <tl/expected.hpp>

#include <bit>
#include <map>
#include <utility>

namespace VX
{

/// Makes a volume of voxels that come one after the other, as files have them: x fastest, then y, then z.
///
/// Memory grows with what was handed over and not with what was announced, so a file that lies about its size costs
/// nothing. Layers of bricks that are of one value throughout share their bricks. One thread at a time.
///
///     auto builder = VolumeBuilder::make( { .type = VoxelType::Int16, .grid = grid } );
///     if ( !builder )
///         return tl::unexpected( builder.error() );
///     while ( builder->missing() > 0 )
///         if ( auto taken = builder->append( nextBytes( builder->missing() ) ); !taken )
///             return tl::unexpected( taken.error() );
///     return std::move( *builder ).finish();
class VXMESH_API VolumeBuilder
{
public:
    struct Plan
    {
        VoxelType type = VoxelType::UInt8;
        VolumeGrid grid = {};
        VoxelMeaning meaning = {};
        /// Of the bytes that come.
        std::endian order = std::endian::native;
    };

    /// No volume is larger, along one axis and in all.
    static constexpr int cMostAlong = 1 << 20;
    static constexpr uint64_t cMostBytes = uint64_t( 1 ) << 36;

    /// Fails when the plan makes no sense, is over the limits, or asks for more memory than the machine has; nothing is
    /// allocated.
    [[nodiscard]] static tl::expected<VolumeBuilder, std::string> make( Plan plan );

    /// The next bytes, any number of them; a voxel may be cut. Fails when they are more than are missing.
    [[nodiscard]] tl::expected<void, std::string> append( std::span<const std::byte> bytes );
    /// Bytes that are still to come.
    [[nodiscard]] uint64_t missing() const { return total_ - done_; }
    /// Of the work, 0 to 1.
    [[nodiscard]] float fraction() const { return float( double( done_ ) / double( total_ ) ); }
    /// The volume; fails when voxels are missing, and tells how many slices are whole.
    [[nodiscard]] tl::expected<Volume, std::string> finish() &&;

private:
    explicit VolumeBuilder( Plan plan );
    /// Bytes that lie in one brick from here on, and where they go.
    [[nodiscard]] std::span<std::byte> room_();
    void finishLayer_();
    void finishBrick_( std::shared_ptr<std::byte[]>& brick, size_t bytes );

    Plan plan_;
    uint64_t total_ = 0, done_ = 0;
    uint64_t rowBytes_ = 0;
    VoxelIndex counts_{};
    std::vector<std::shared_ptr<std::byte[]>> layer_; ///< the bricks that are being filled
    std::vector<VolumeBrick> bricks_;
    std::map<std::pair<size_t, uint32_t>, VolumeBrick> even_; ///< by bytes and value, those of one value throughout
};

/// Turns voxels of `width` bytes each (1, 2, 4 or 8) round to the other byte order; bytes of a cut one are left alone.
VXMESH_API void swapBytes( std::span<std::byte> voxels, size_t width );

} // namespace VX
