#pragma once

#include "database/DataPlace.h"
#include "storage/Presigner.h"

#include <filesystem>
#include <string>

namespace VX::Backend
{

/// What an operator does with conversions, beside a running service or without one.
struct JobCommand : DataPlace
{
    enum class Action
    {
        List,
        Show,
        Retry,
        Cancel
    };
    Action action = Action::List;
    std::string id;
    /// Where uploads are, where it has an endpoint; else they are in the folder of data.
    S3Bucket bucket = {};
};

/// Does it, tells on the standard output what came of it and what went wrong on the other one; the exit status.
[[nodiscard]] int runJobCommand( const JobCommand& command );

} // namespace VX::Backend
