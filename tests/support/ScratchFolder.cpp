#include "support/ScratchFolder.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace VX::Testing
{

ScratchFolder::ScratchFolder()
{
    // The folders of tests that were killed are still there, and numbers of processes come again.
    auto name = ( std::filesystem::temp_directory_path() / "orvanta-test-XXXXXX" ).string();
    if ( !::mkdtemp( name.data() ) )
        throw std::runtime_error( "no folder can be made for a test" );
    path_ = name;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ec;
    std::filesystem::remove_all( path_, ec );
}

std::filesystem::path ScratchFolder::write( const std::string& name, const std::string& content ) const
{
    std::ofstream( path_ / name, std::ios::binary ) << content;
    return path_ / name;
}

std::string readFile( const std::filesystem::path& file )
{
    std::ifstream in( file, std::ios::binary );
    return { std::istreambuf_iterator<char>( in ), {} };
}

} // namespace VX::Testing
