#pragma once

#include <VXMesh/io/Progress.h>
#include <VXMesh/io/TemporaryFile.h>
#include <VXMesh/volume/Volume.h>

#include <tl/expected.hpp>

#include <cstring>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace VX
{

/// A file of voxels that is being written beside its place, and moved there when it is whole. One thread.
class VoxelFile
{
public:
    /// Packed by gzip where asked for. The error names the file, as all of this class do.
    [[nodiscard]] static tl::expected<VoxelFile, std::string> create(
        const std::filesystem::path& file, bool isPacked );

    VoxelFile( VoxelFile&& ) noexcept;
    ~VoxelFile();

    [[nodiscard]] tl::expected<void, std::string> write( std::span<const std::byte> bytes );
    [[nodiscard]] tl::expected<void, std::string> write( const std::string& bytes );
    /// All voxels, x fastest, in little-endian order; `before` is called ahead of each slice and may write.
    [[nodiscard]] tl::expected<void, std::string> writeVoxels( const Volume& volume, const ProgressCallback& progress,
        const std::function<tl::expected<void, std::string>( int slice )>& before = {} );
    [[nodiscard]] tl::expected<void, std::string> finish();

private:
    class Packer;

    VoxelFile( TemporaryFile temporary, const std::filesystem::path& file );
    [[nodiscard]] tl::expected<void, std::string> put_( std::span<const std::byte> bytes );
    [[nodiscard]] std::string failure_( int error ) const;

    TemporaryFile temporary_;
    std::filesystem::path file_;
    std::unique_ptr<Packer> packer_;
};

/// Appends the bytes of a number in little-endian order.
template <typename T>
void appendNumber( std::string& out, T value )
{
    char bytes[sizeof( T )];
    std::memcpy( bytes, &value, sizeof value );
    out.append( bytes, sizeof bytes );
}

} // namespace VX
