#pragma once

#include <CLI/CLI.hpp>

#include <functional>

/// The subcommands of the program's command line, a file each.
namespace VX::Backend::Lines
{

/// What the program does once its command line is known; the exit status.
using Run = std::function<int()>;

/// Each adds its subcommand to the command line; where that one is given, `run` does it afterwards.
void addServe( CLI::App& app, Run& run );
void addUser( CLI::App& app, Run& run );
void addMails( CLI::App& app, Run& run );
void addStats( CLI::App& app, Run& run );
void addBackup( CLI::App& app, Run& run );
void addConvert( CLI::App& app, Run& run );
/// For the service alone, in no help text.
void addWorker( CLI::App& app, Run& run );

/// Memory in MiB and time in seconds that a conversion may take.
void addWorkerLimits( CLI::App& command, uint64_t& mebibytes, int64_t& seconds );

} // namespace VX::Backend::Lines
