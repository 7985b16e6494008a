#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace VX::Backend
{

/// What an operator does with mails, beside a running service or without one.
struct MailCommand
{
    enum class Action
    {
        List,
        Retry
    };
    Action action = Action::List;
    std::filesystem::path data;
    /// Which one is tried again; all that wait, unless set.
    std::optional<int64_t> number;
};

/// Does it, tells on the standard output what came of it and what went wrong on the other one; the exit status.
[[nodiscard]] int runMailCommand( const MailCommand& command );

} // namespace VX::Backend
