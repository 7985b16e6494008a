#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace VX::Testing
{

/// Runs `work` in a copy of this process in which a folder lies on an empty disk of so many bytes, and the folder for
/// temporary files in it; nobody else sees it. What `work` returned, or nothing where mounting is not allowed.
///
/// The copy has one thread, and no assertion in it is heard: do not use what needs other threads of this process, and
/// check what is returned.
[[nodiscard]] std::optional<std::string> onSmallDisk(
    const std::filesystem::path& folder, size_t bytes, const std::function<std::string()>& work );

} // namespace VX::Testing
