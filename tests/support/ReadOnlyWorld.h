#pragma once

#include <filesystem>
#include <vector>

namespace VX::Testing
{

/// Makes every file of the machine read-only for this process from now on, but for some folders, which begin empty and
/// end with the process. Nobody else sees it. Call it before the process has threads.
/// Returns false, and has changed nothing that matters, where mounting is not allowed.
[[nodiscard]] bool makeWorldReadOnly( const std::vector<std::filesystem::path>& writable );

} // namespace VX::Testing
