#pragma once

#include <filesystem>

namespace VX::Backend
{

struct WorkerJob
{
    std::filesystem::path folder;
    uint64_t memory = 0; ///< bytes of each of its processes
    uint64_t outputSize = 0;
    uint64_t seconds = 0;
    int processes = 1;  ///< that share a large file
    uint64_t tasks = 0; ///< processes and threads that it may begin
    unsigned user = 0;  ///< whom it becomes; nobody else when 0
};

/// What a worker is told by a byte on its standard input.
constexpr char cConvert = '\n', cTry = 't';

/// The life of a worker process: become another user, warm up, enter the sandbox, wait for a byte on standard input,
/// convert "input.zip" of the folder, or "input.step" where there is no archive, into "result.vxu", and write lines of
/// JSON to standard output:
/// {"progress": 0 to 1} as it goes on, and at last {"done": true} or {"error": text}. After a try, whose input is ours,
/// it waits again.
int runWorker( WorkerJob job );

} // namespace VX::Backend
