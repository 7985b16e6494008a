#include "support/ScratchFolder.h"

#include <atomic>
#include <fstream>

#include <unistd.h>

namespace VX::Testing
{

ScratchFolder::ScratchFolder()
{
    static std::atomic<int> sCounter{ 0 };
    path_ = std::filesystem::temp_directory_path() /
            ( "orvanta-test-" + std::to_string( ::getpid() ) + "-" + std::to_string( sCounter++ ) );
    std::filesystem::create_directories( path_ );
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
