#pragma once

#include <VXMesh/math/Vector3.h>

#include <cstdint>
#include <vector>

namespace VX
{

/// For each point the number of the first one at the same place; one with a coordinate that is not a number is alike
/// only to those of the same bits.
[[nodiscard]] std::vector<uint32_t> firstAtSamePlace( const std::vector<Vector3f>& points );

} // namespace VX
