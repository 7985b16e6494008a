#pragma once

#include "support/ScratchFolder.h"

#include <map>
#include <string>

#include <sys/stat.h>

namespace VX::Testing
{

/// All that is in a folder, byte for byte, with whose it is and who may open it.
inline std::map<std::string, std::string> pictureOf( const std::filesystem::path& folder )
{
    std::map<std::string, std::string> out;
    const auto add = [&]( const std::filesystem::path& path )
    {
        struct stat info{};
        (void)::lstat( path.c_str(), &info );
        out[path.string()] = std::to_string( info.st_mode ) + " " + std::to_string( info.st_uid ) + " " +
                             ( S_ISREG( info.st_mode ) ? readFile( path ) : std::string() );
    };
    add( folder );
    for ( const auto& entry : std::filesystem::recursive_directory_iterator( folder ) )
        add( entry.path() );
    return out;
}

} // namespace VX::Testing
