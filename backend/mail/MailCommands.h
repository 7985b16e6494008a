#pragma once

#include "database/DataPlace.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace VX::Backend
{

/// What an operator does with mails, beside a running service or without one.
struct MailCommand : DataPlace
{
    enum class Action
    {
        List,
        Retry
    };
    Action action = Action::List;
    /// Which one is tried again; all that wait, unless set.
    std::optional<int64_t> number;
};

/// Does it, tells on the standard output what came of it and what went wrong on the other one; the exit status.
[[nodiscard]] int runMailCommand( const MailCommand& command );

} // namespace VX::Backend
