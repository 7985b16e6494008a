#pragma once

#include "database/DataPlace.h"

#include <filesystem>

namespace VX::Backend
{

/// What an operator does with the keys that sign tokens, beside a running service or without one.
struct KeyCommand : DataPlace
{
    enum class Action
    {
        List,
        Rotate
    };
    Action action = Action::List;
};

/// Does it, tells on the standard output what came of it and what went wrong on the other one; the exit status.
[[nodiscard]] int runKeyCommand( const KeyCommand& command );

} // namespace VX::Backend
