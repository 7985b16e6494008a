#include <VXViewer/slices/WindowPresets.h>

#include <VXMesh/volume/VolumeStatistics.h>

#include <algorithm>

namespace VX
{

int WindowPresets::find( const VolumeWindow& window ) const
{
    return int( std::find( windows.begin(), windows.end(), window ) - windows.begin() );
}

WindowPresets windowPresets( const Volume& volume )
{
    WindowPresets out;
    const auto add = [&]( const char* name, const VolumeWindow& window )
    {
        out.names.emplace_back( name );
        out.windows.push_back( window );
    };
    add( "As opened", windowOf( volume ) );
    if ( const auto all = statisticsOf( volume ); all.max > all.min )
        add( "All values", { ( all.min + all.max ) / 2, all.max - all.min } );
    if ( volume.meaning().unit == "HU" )
    {
        add( "Bone", { 480, 2500 } );
        add( "Soft tissue", { 40, 400 } );
        add( "Lung", { -600, 1500 } );
        add( "Brain", { 40, 80 } );
    }
    out.names.emplace_back( "By hand" );
    return out;
}

} // namespace VX
