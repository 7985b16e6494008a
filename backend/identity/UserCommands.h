#pragma once

#include "database/DataPlace.h"

#include <filesystem>
#include <string>

namespace VX::Backend
{

/// What an operator does with accounts, beside a running service or without one.
struct UserCommand : DataPlace
{
    enum class Action
    {
        Add,
        List,
        Confirm,
        Reset,
        Block,
        Unblock,
        Remove
    };
    Action action = Action::List;
    std::string email;
    /// Read the password from the standard input; a random one is made otherwise.
    bool passwordFromInput = false;
    /// Where address and password are written as JSON (mode 0600), for the program's argument -creds.
    std::filesystem::path credentials;
};

/// Does it, tells on the standard output what came of it and what went wrong on the other one; the exit status.
[[nodiscard]] int runUserCommand( const UserCommand& command );

} // namespace VX::Backend
