#pragma once

#include <VXMesh/Export.h>

#include <tl/expected.hpp>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

namespace VX
{

/// A regular file mapped for reading; the bytes live as long as this object. Movable, not copyable; any thread.
///
/// A file that another program shortens while it is mapped faults on access, as with any mapping: use it for files
/// that the user opened, not for ones that are being written.
class VXMESH_API MappedFile
{
public:
    /// Fails with a text that names the file when it is missing, a folder, or not readable.
    [[nodiscard]] static tl::expected<MappedFile, std::string> open( const std::filesystem::path& file );

    MappedFile( MappedFile&& other ) noexcept;
    MappedFile& operator=( MappedFile&& other ) noexcept;
    MappedFile( const MappedFile& ) = delete;
    MappedFile& operator=( const MappedFile& ) = delete;
    ~MappedFile();

    /// Empty for an empty file.
    [[nodiscard]] std::span<const std::byte> bytes() const { return { data_, size_ }; }

private:
    MappedFile() = default;
    const std::byte* data_ = nullptr;
    size_t size_ = 0;
};

} // namespace VX
