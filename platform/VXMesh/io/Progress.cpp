#include <VXMesh/io/Progress.h>

namespace VX
{

ProgressCallback subprogress( ProgressCallback parent, float from, float to )
{
    if ( !parent )
        return {};
    return [parent = std::move( parent ), from, to]( float fraction )
    { return parent( from + ( to - from ) * fraction ); };
}

bool reportProgress( const ProgressCallback& progress, float fraction )
{
    return !progress || progress( fraction );
}

} // namespace VX
