#include <VXMesh/io/ScratchFolder.h>

#include <cstdlib>

namespace VX
{

ScratchFolder::ScratchFolder( const std::string& prefix )
{
    std::error_code ec;
    auto name = ( std::filesystem::temp_directory_path( ec ) / ( prefix + "XXXXXX" ) ).string();
    if ( !ec && ::mkdtemp( name.data() ) )
        path_ = name;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ec;
    if ( !path_.empty() )
        std::filesystem::remove_all( path_, ec );
}

} // namespace VX
