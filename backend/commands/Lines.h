#pragma once

#include "database/DataPlace.h"
#include "storage/Presigner.h"

#include <CLI/CLI.hpp>
#include <tl/expected.hpp>

#include <functional>
#include <memory>
#include <optional>

/// The subcommands of the program's command line, a file each.
namespace VX::Backend::Lines
{

/// What the program does once its command line is known; the exit status.
using Run = std::function<int()>;

/// Each adds its subcommand to the command line; where that one is given, `run` does it afterwards.
void addServe( CLI::App& app, Run& run );
void addWork( CLI::App& app, Run& run );
void addUser( CLI::App& app, Run& run );
void addMails( CLI::App& app, Run& run );
void addJobs( CLI::App& app, Run& run );
void addStats( CLI::App& app, Run& run );
void addKeys( CLI::App& app, Run& run );
void addBackup( CLI::App& app, Run& run );
void addDoctor( CLI::App& app, Run& run );
void addConvert( CLI::App& app, Run& run );
/// For the service alone, in no help text.
void addWorker( CLI::App& app, Run& run );

/// Adds the folder of data, or the PostgreSQL in its place, of which one has to be given.
void addPlace( CLI::App& command, DataPlace& place );

/// Adds the bucket in which uploads and results are, if they are not in the folder.
void addBucket( CLI::App& command, S3Bucket& bucket );

/// The same bucket with its name and keys, which come by the environment.
[[nodiscard]] tl::expected<S3Bucket, std::string> withKeys( S3Bucket bucket );

/// Adds a subcommand that does one action on a folder of data; what it does is `act`, with the command's other options.
template <typename Command>
CLI::App* addAction( CLI::App& group, const char* name, const char* text, const std::shared_ptr<Command>& command,
    typename Command::Action action, int ( *act )( const Command& ), Run& run )
{
    auto* out = group.add_subcommand( name, text );
    addPlace( *out, *command );
    out->callback(
        [command, action, act, &run]
        {
            command->action = action;
            run = [command, act] { return act( *command ); };
        } );
    return out;
}

/// Memory in MiB, if it is given, and time in seconds that a conversion may take.
void addWorkerLimits( CLI::App& command, std::optional<uint64_t>& mebibytes, int64_t& seconds );

} // namespace VX::Backend::Lines
