#pragma once

#include <filesystem>

namespace VX::Backend
{

struct WorkerJob
{
    std::filesystem::path folder;
    uint64_t memory = 0;
    uint64_t outputSize = 0;
    uint64_t seconds = 0;
};

/// The life of a worker process: warm up, enter the sandbox, wait for a byte on standard input, convert "input.zip" of
/// the folder, or "input.step" where there is no archive, into "result.vxu", and write lines of JSON to standard
/// output:
/// {"progress": 0 to 1} as it goes on, and at last {"done": true} or {"error": text}.
int runWorker( const WorkerJob& job );

} // namespace VX::Backend
