#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace VX
{

/// The drawings below `platform/VXViewer/icons`, as PNG files; made at build time.
[[nodiscard]] const std::vector<std::pair<const char*, std::span<const std::byte>>>& embeddedIcons();

} // namespace VX
