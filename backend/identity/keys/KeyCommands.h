#pragma once

#include <filesystem>

namespace VX::Backend
{

/// What an operator does with the keys that sign tokens, beside a running service or without one.
struct KeyCommand
{
    enum class Action
    {
        List,
        Rotate
    };
    Action action = Action::List;
    std::filesystem::path data;
};

/// Does it, tells on the standard output what came of it and what went wrong on the other one; the exit status.
[[nodiscard]] int runKeyCommand( const KeyCommand& command );

} // namespace VX::Backend
