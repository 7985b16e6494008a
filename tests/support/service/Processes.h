#pragma once

#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace VX::Testing
{

/// Of all users, as far as this process can see them.
[[nodiscard]] inline std::vector<int> allProcesses()
{
    std::vector<int> out;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( "/proc", ec ) )
        if ( const auto name = entry.path().filename().string(); name.find_first_not_of( "0123456789" ) == name.npos )
            out.push_back( std::stoi( name ) );
    return out;
}

/// A file of /proc about a process; as much as could be read where the process ends meanwhile.
[[nodiscard]] inline std::string factsOfProcess( int pid, const std::string& file )
{
    std::ifstream in( "/proc/" + std::to_string( pid ) + "/" + file, std::ios::binary );
    std::ostringstream out;
    // A stream's own reading keeps the error of a process that has gone to itself; its iterators throw it.
    out << in.rdbuf();
    return std::move( out ).str();
}

/// Processes that one has started, and those of theirs.
[[nodiscard]] inline std::vector<int> descendantsOf( int parent )
{
    std::vector<int> out;
    for ( const int pid : allProcesses() )
    {
        std::ifstream in( "/proc/" + std::to_string( pid ) + "/stat" );
        std::string line;
        if ( !std::getline( in, line ) || line.rfind( ')' ) == std::string::npos )
            continue;
        std::istringstream rest( line.substr( line.rfind( ')' ) + 1 ) );
        char state = 0;
        int above = 0;
        if ( !( rest >> state >> above ) || above != parent )
            continue;
        out.push_back( pid );
        const auto below = descendantsOf( pid );
        out.insert( out.end(), below.begin(), below.end() );
    }
    return out;
}

/// Whether it is a worker itself, and not what is around one.
[[nodiscard]] inline bool isWorker( int pid )
{
    const auto line = factsOfProcess( pid, "cmdline" );
    return line.starts_with( std::string( ORVANTA_BACKEND ) + '\0' + "worker" + '\0' );
}

} // namespace VX::Testing
