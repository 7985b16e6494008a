#pragma once

#include "converter/Bubblewrap.h"

#include <cstdio>
#include <string>

namespace VX::Testing
{

/// With what a back end starts here: where bubblewrap cannot be used it has to be told that it may do without.
[[nodiscard]] inline std::string sandboxOption()
{
    static const bool sIsThere = Backend::canUseBubblewrap();
    if ( !sIsThere )
        std::fprintf( stderr, "bubblewrap cannot be used here: the back end runs with --without-sandbox\n" );
    return sIsThere ? "" : "--without-sandbox";
}

} // namespace VX::Testing
