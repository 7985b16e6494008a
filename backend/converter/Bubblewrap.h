#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace VX::Backend
{

/// The command line that runs a program so that it sees the system's libraries read-only, the back end's own folder,
/// and `folder` as /job; no network, no other process and no one's files, and no memory but its own to write into. All
/// of it ends with the process that has started it.
///
/// Started by root it has nothing of root's but the right to become somebody else, which it is to do at once.
[[nodiscard]] std::vector<std::string> inBubblewrap(
    const std::filesystem::path& folder, const std::vector<std::string>& program );

/// Whether that works here, as it is tried by each call; what bubblewrap says goes to the standard error if wanted.
[[nodiscard]] bool canUseBubblewrap( bool showsErrors = false );

/// The file of this very program.
[[nodiscard]] std::filesystem::path ownProgram();

} // namespace VX::Backend
