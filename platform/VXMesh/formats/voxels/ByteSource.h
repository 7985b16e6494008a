#pragma once

#include <VXMesh/io/MappedFile.h>

#include <tl/expected.hpp>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace VX
{

/// Bytes that come in order. One thread at a time.
class ByteSource
{
public:
    virtual ~ByteSource() = default;
    /// Fills `out` as far as there are bytes and returns how many; fewer than asked for only at the end. The error is
    /// what is wrong with the bytes.
    [[nodiscard]] virtual tl::expected<size_t, std::string> read( std::span<std::byte> out ) = 0;
};

/// A part of a mapped file, or all parts one after the other.
struct FilePart
{
    std::shared_ptr<const MappedFile> file;
    size_t offset = 0, size = 0;

    [[nodiscard]] std::span<const std::byte> bytes() const { return file->bytes().subspan( offset, size ); }
};

[[nodiscard]] std::unique_ptr<ByteSource> partsSource( std::vector<FilePart> parts );

/// What another source has packed by deflate, as a zlib or gzip stream, members of gzip one after the other.
[[nodiscard]] std::unique_ptr<ByteSource> inflated( std::unique_ptr<ByteSource> packed );

/// What is left of a source without its first bytes; what is missing shows when it is read.
[[nodiscard]] std::unique_ptr<ByteSource> skipped( std::unique_ptr<ByteSource> source, uint64_t bytes );

/// Whether bytes begin as gzip does.
[[nodiscard]] bool looksLikeGzip( std::span<const std::byte> bytes );

} // namespace VX
