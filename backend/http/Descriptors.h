#pragma once

#include <cstddef>

namespace VX::Backend
{

/// Raises what this process may open to what it is allowed to raise it to; the number of files it may then hold.
size_t raiseDescriptorLimit();

/// How many connections may be open at a time when a process may hold so many files: each may need a second one, and
/// the database, the workers and the log need theirs.
[[nodiscard]] size_t connectionsFor( size_t descriptors );

} // namespace VX::Backend
