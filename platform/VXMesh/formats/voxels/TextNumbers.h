#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

namespace VX
{

/// Numbers that another source has as text, with white space or commas between them, as bytes in the machine's order.
/// Fails at what is no number, or does not fit the type.
[[nodiscard]] std::unique_ptr<ByteSource> decimals( std::unique_ptr<ByteSource> text, FileNumber number );

/// Bytes that another source has as pairs of hexadecimal digits, with white space anywhere between them.
[[nodiscard]] std::unique_ptr<ByteSource> hexDigits( std::unique_ptr<ByteSource> text );

} // namespace VX
