#pragma once

#include "converter/WorkerProcess.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace VX::Backend
{

/// A worker that converts a cube of our own before the first file of a stranger, as those will be converted. It loads
/// while others do something else, and is as good as a fresh one afterwards.
class WorkerTrial
{
public:
    /// Starts it in a fresh folder below `root`. What it says on its standard error goes where ours goes,
    /// until it gets a stranger's file.
    WorkerTrial( const std::filesystem::path& root, WorkerSetup setup );

    /// Waits for its end, and hands the worker over; the error says what failed.
    [[nodiscard]] tl::expected<std::unique_ptr<WorkerProcess>, std::string> end();

private:
    tl::expected<std::unique_ptr<WorkerProcess>, std::string> worker_;
};

} // namespace VX::Backend
