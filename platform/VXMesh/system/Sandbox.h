#pragma once

#include <VXMesh/system/FileView.h>

#include <cstdint>
#include <string>

namespace VX
{

/// What a process that reads strangers' files may use; 0 is no limit.
struct SandboxLimits
{
    uint64_t memory = 0;     ///< bytes of address space; not held where a sanitizer needs more
    uint64_t outputSize = 0; ///< bytes of any one file
    uint64_t cpuSeconds = 0; ///< of all threads together
    uint64_t tasks = 0;      ///< processes and threads of its user, which must not be root; see `tasksOfThisUser`
};

/// How many processes and threads the user of this process has, as far as this process can see them.
[[nodiscard]] uint64_t tasksOfThisUser();

/// The address space that reading a file of so many bytes may take on a machine with so much memory: the larger of
/// 1 GiB and 50 times the file, but never over a quarter of the machine's.
[[nodiscard]] uint64_t memoryForReading( uint64_t file, uint64_t machine );

enum class SandboxFiles
{
    Write, ///< files can be made, changed, renamed and removed
    Read,  ///< files can be opened for reading alone, and the process has no copies
};

/// Takes from this process what reading a file does not need: limits on memory, time, files and core dumps, no new
/// privileges, no look at its memory for others, no files but those of the view where the kernel can hide them, and a
/// filter under which other system calls fail. To be called before the first thread starts. The error says what could
/// not be taken.
[[nodiscard]] std::string enterSandbox( const SandboxLimits& limits, SandboxFiles files, const FileView& view );

} // namespace VX
