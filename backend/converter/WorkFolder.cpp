#include "converter/WorkFolder.h"

namespace VX::Backend
{
namespace
{

std::vector<std::string> deadOnesIn( const std::filesystem::path& root )
{
    std::vector<std::string> out;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( root, ec ) )
        if ( entry.is_directory( ec ) && FolderLock::take( entry.path() ) )
            out.push_back( entry.path().filename().string() );
    return out;
}

} // namespace

tl::expected<std::unique_ptr<WorkFolder>, std::string> WorkFolder::make(
    const std::filesystem::path& root, const std::string& instance )
{
    std::unique_ptr<WorkFolder> out( new WorkFolder );
    out->root_ = root;
    out->folder_ = root / instance;
    std::error_code ec;
    std::filesystem::create_directories( root, ec );
    // Nobody looks while a folder is there and its lock is not yet.
    const auto alone = FolderLock::await( root );
    if ( !alone )
        return tl::unexpected( alone.error() );
    out->dead_ = deadOnesIn( root );
    std::filesystem::create_directories( out->folder_, ec );
    return FolderLock::take( out->folder_ )
        .map(
            [&]( std::unique_ptr<FolderLock> lock )
            {
                out->lock_ = std::move( lock );
                return std::move( out );
            } );
}

void WorkFolder::sweep()
{
    std::error_code ec;
    for ( const auto& instance : dead_ )
        std::filesystem::remove_all( root_ / instance, ec );
    dead_.clear();
}

} // namespace VX::Backend
