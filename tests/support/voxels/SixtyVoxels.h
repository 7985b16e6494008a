#pragma once

#include "support/voxels/TestVolumes.h"
#include "support/voxels/WrittenBytes.h"

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <gtest/gtest.h>

#include <bit>
#include <string>

namespace VX::Testing
{

/// What the voxel of this number holds, in files of 3 x 4 x 5 of them; it fits into every type.
[[nodiscard]] inline int sixtyNumber( size_t i )
{
    return int( i * 37 % 120 );
}

/// How many of the voxels have another value, all where there are not sixty.
[[nodiscard]] inline size_t wrongOfSixty( const Volume& volume )
{
    size_t out = 0, i = 0;
    forEachIndex( volume.size(), [&]( const VoxelIndex& at ) { out += volume.value( at ) != sixtyNumber( i++ ); } );
    return i == 60 ? out : 60;
}

/// Their bytes, x fastest.
template <typename T>
[[nodiscard]] std::string sixty( std::endian order = std::endian::little )
{
    return voxelBytes<T>( 60, order, sixtyNumber );
}

/// That such a file was read.
inline void expectSixty( const tl::expected<ReadVolume, std::string>& read, const std::string& bytes )
{
    ASSERT_TRUE( read ) << read.error() << "\n" << bytes.substr( 0, 200 );
    EXPECT_EQ( wrongOfSixty( read->volume ), 0u ) << bytes.substr( 0, 200 );
}

/// Why it was not; empty when it was.
[[nodiscard]] inline std::string refusalOf( const tl::expected<ReadVolume, std::string>& read )
{
    return read ? "" : read.error();
}

} // namespace VX::Testing
