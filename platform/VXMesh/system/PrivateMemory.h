#pragma once

#include <sys/prctl.h>

namespace VX
{

/// Closes this process's memory to other processes of the same user, which a library taken over by a hostile file may
/// be, and to core dumps. For programs that hold tokens and keys; call it first of all.
inline void keepMemoryPrivate()
{
    // It cannot fail with these arguments.
    ::prctl( PR_SET_DUMPABLE, 0, 0, 0, 0 );
}

} // namespace VX
