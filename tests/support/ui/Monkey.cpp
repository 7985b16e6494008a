#include "support/ui/Monkey.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <numeric>

#include <unistd.h>

namespace VX::Testing
{
namespace
{

constexpr size_t cRemembered = 24;

/// Plain memory, which a signal handler may read.
std::array<char[24], cRemembered> sActions;
size_t sCount = 0;
unsigned long sSeed = 0;

size_t describe( char* text, size_t size )
{
    size_t length = size_t( std::snprintf( text, size, "seed %lu, %zu actions, the last:", sSeed, sCount ) );
    for ( size_t i = sCount > cRemembered ? sCount - cRemembered : 0; i < sCount && length < size; ++i )
        length += size_t( std::snprintf( text + length, size - length, " %s", sActions[i % cRemembered] ) );
    return std::min( length, size - 1 );
}

void tellAndEnd( int number )
{
    char text[1024];
    const size_t length = describe( text, sizeof text - 1 );
    text[length] = '\n';
    (void)!::write( STDERR_FILENO, text, length + 1 );
    std::signal( number, SIG_DFL );
    std::raise( number );
}

} // namespace

Monkey::Monkey( unsigned long seed )
    : random_( seed )
{
    sSeed = seed;
    sCount = 0;
    std::signal( SIGABRT, &tellAndEnd );
    std::signal( SIGSEGV, &tellAndEnd );
}

Monkey::~Monkey()
{
    std::signal( SIGABRT, SIG_DFL );
    std::signal( SIGSEGV, SIG_DFL );
}

void Monkey::oneOf( const std::vector<Action>& actions )
{
    const auto sum = std::accumulate( actions.begin(), actions.end(), size_t( 0 ),
        []( size_t all, const Action& action ) { return all + action.weight; } );
    size_t left = below( sum );
    for ( const auto& action : actions )
    {
        if ( left >= action.weight )
        {
            left -= action.weight;
            continue;
        }
        std::snprintf( sActions[sCount++ % cRemembered], sizeof sActions[0], "%s", action.name );
        return action.run();
    }
}

size_t Monkey::below( size_t bound )
{
    // Not a distribution of the library's: those differ from one to the next.
    return bound == 0 ? 0 : size_t( random_() % bound );
}

float Monkey::fraction()
{
    return float( random_() % 4096 ) / 4096;
}

std::string Monkey::lastActions() const
{
    char text[1024];
    return { text, describe( text, sizeof text ) };
}

} // namespace VX::Testing
