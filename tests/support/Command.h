#pragma once

#include <cstdio>
#include <string>

#include <sys/wait.h>

namespace VX::Testing
{

struct CommandOutput
{
    int status = -1;
    std::string text;
};

/// Runs a command of the shell to its end, and takes what it prints.
inline CommandOutput runCommand( const std::string& command )
{
    CommandOutput out;
    FILE* pipe = ::popen( command.c_str(), "r" );
    char buffer[4096];
    for ( size_t n = 0; ( n = std::fread( buffer, 1, sizeof buffer, pipe ) ) > 0; )
        out.text.append( buffer, n );
    const int status = ::pclose( pipe );
    out.status = WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
    return out;
}

} // namespace VX::Testing
