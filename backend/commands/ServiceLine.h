#pragma once

#include "commands/Lines.h"
#include "serve/Service.h"

#include <optional>

namespace VX::Backend::Lines
{

/// The options, with those in units of the command line beside them.
struct ServiceLine
{
    ServiceOptions options;
    std::optional<uint64_t> workerMebibytes;
    uint64_t uploadMebibytes = options.maxUpload >> 20;
    uint64_t storedMebibytes = options.maxStored >> 20;
    uint64_t statisticsMebibytes = options.maxStatistics >> 20;
    uint64_t waitingMebibytes = options.maxStatisticsWaiting >> 20;
    int64_t keepMinutes = std::chrono::duration_cast<std::chrono::minutes>( options.keep ).count();
    int64_t workerSeconds = options.worker.time.count();
    int drainSeconds = 20;
    int statisticsDays = int( std::chrono::duration_cast<std::chrono::days>( options.keepStatistics ).count() );
    int choresSeconds = int( std::chrono::duration_cast<std::chrono::seconds>( options.choresEvery ).count() );
    bool onlyChecks = false;
    bool jsonLog = false;
};

/// Where the operator's listener is.
void addMonitorOption( CLI::App& command, ServiceOptions& options );
/// Whether the log is text or JSON.
void addLogOption( CLI::App& command, bool& json );
/// What, how much and how many at a time is converted, and for how long it is kept.
void addConversionOptions( CLI::App& command, ServiceLine& line );
void addDatabaseOption( CLI::App& command, std::string& address );
/// Those of a store elsewhere.
void addStoreOptions( CLI::App& command, StoreOptions& store );

/// How often there are chores and what converts, in no help text.
void addTestOptions( CLI::App& command, ServiceLine& line );

/// Brings what was given in other units into the options.
void takeUnits( ServiceLine& line );

/// Where workers have no room of their own, the log tells.
void warnOfSandbox( const ServiceOptions& options );

} // namespace VX::Backend::Lines
