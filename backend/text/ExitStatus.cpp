#include "text/ExitStatus.h"

#include <VXMesh/io/Text.h>

#include <iostream>

namespace VX::Backend
{

int exitStatusOf( const tl::expected<void, std::string>& done )
{
    if ( done )
        return 0;
    std::cerr << visibleText( done.error() ) << "\n";
    return 1;
}

} // namespace VX::Backend
