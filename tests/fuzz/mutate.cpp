/// Runs a fuzz target without libFuzzer: replays every file of the given folders, then feeds changed copies of them for
/// so many seconds. It is blind to which branches are taken, and so finds less; but it needs no other compiler.
/// Usage: TARGET --seconds N [--seed N] FOLDER…  A finding is written to "finding" in the current folder.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#if defined( __SANITIZE_ADDRESS__ )
#include <sanitizer/common_interface_defs.h>
#endif

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size );

namespace
{

using Bytes = std::vector<uint8_t>;

constexpr size_t cMaxSize = 1 << 16;
constexpr unsigned cSecondsForOne = 20;
constexpr const char* cTokens[] = { "\"", "{", "}", "[", "]", ":", ",", "\\u0000", "null", "true", "-1", "1e999",
    "\xff", "\xed\xa0\x80", "..", "/", "%00", "&", "=", "ply\n", "solid", "element vertex ", "property list uchar int ",
    "OFF\n", "PK\x03\x04", "glTF", "f 1/2/3 ", "v 0 nan 1\n", "\r\n", "\r\n\r\n", "0\r\n\r\n",
    "\r\nTransfer-Encoding: chunked", "\r\nContent-Length: 5", "\r\nConnection: close", "HEAD / HTTP/1.1\r\nHost: h" };
constexpr uint32_t cNumbers[] = {
    0, 1, 0x7f, 0x80, 0xff, 0x7fff, 0xffff, 0x7fffffff, 0x80000000, 0xffffffff, 0x7fc00000 };

Bytes gInput;

/// Only what a signal handler may do.
void keepInput()
{
    const int fd = ::open( "finding", O_WRONLY | O_CREAT | O_TRUNC, 0600 );
    const ssize_t done = ::write( fd, gInput.data(), gInput.size() );
    static const char cText[] = "The input is in the file \"finding\"\n";
    if ( done < 0 || ::write( STDERR_FILENO, cText, sizeof cText - 1 ) < 0 )
        return;
}

void onSignal( int number )
{
    keepInput();
    ::signal( number, SIG_DFL );
    ::raise( number );
}

void run( Bytes input )
{
    gInput = std::move( input );
    ::alarm( cSecondsForOne );
    LLVMFuzzerTestOneInput( gInput.data(), gInput.size() );
}

std::vector<Bytes> readFolders( int count, char** folders )
{
    std::vector<Bytes> out;
    for ( int i = 0; i < count; ++i )
        for ( const auto& entry : std::filesystem::recursive_directory_iterator( folders[i] ) )
            if ( entry.is_regular_file() )
            {
                std::ifstream in( entry.path(), std::ios::binary );
                out.emplace_back( std::istreambuf_iterator<char>( in ), std::istreambuf_iterator<char>() );
            }
    return out;
}

class Mutator
{
public:
    Mutator( const std::vector<Bytes>& seeds, uint64_t seed )
        : seeds_( seeds )
        , random_( seed )
    {
    }

    Bytes next()
    {
        Bytes out = seeds_[below_( seeds_.size() )];
        for ( size_t changes = 1 + below_( 6 ); changes > 0; --changes )
            change_( out );
        out.resize( std::min( out.size(), cMaxSize ) );
        return out;
    }

private:
    size_t below_( size_t end )
    {
        return end == 0 ? 0 : std::uniform_int_distribution<size_t>( 0, end - 1 )( random_ );
    }

    void change_( Bytes& out )
    {
        const size_t at = below_( out.size() );
        switch ( below_( 7 ) )
        {
        case 0:
            if ( !out.empty() )
                out[at] ^= uint8_t( 1 << below_( 8 ) );
            break;
        case 1:
            if ( !out.empty() )
                out[at] = uint8_t( random_() );
            break;
        case 2:
            overwrite_( out, at, cNumbers[below_( std::size( cNumbers ) )] );
            break;
        case 3:
            out.resize( at );
            break;
        case 4:
            insert_( out, at, cTokens[below_( std::size( cTokens ) )] );
            break;
        case 5:
            out.erase( out.begin() + std::ptrdiff_t( at ),
                out.begin() + std::ptrdiff_t( std::min( out.size(), at + below_( 64 ) ) ) );
            break;
        default:
            splice_( out, at );
        }
    }

    static void overwrite_( Bytes& out, size_t at, uint32_t number )
    {
        for ( size_t i = 0; i < 4 && at + i < out.size(); ++i )
            out[at + i] = uint8_t( number >> 8 * i );
    }

    static void insert_( Bytes& out, size_t at, const std::string& token )
    {
        out.insert( out.begin() + std::ptrdiff_t( at ), token.begin(), token.end() );
    }

    void splice_( Bytes& out, size_t at )
    {
        const Bytes& other = seeds_[below_( seeds_.size() )];
        const size_t from = below_( other.size() );
        const size_t size = std::min( other.size() - from, 1 + below_( 256 ) );
        out.insert( out.begin() + std::ptrdiff_t( at ), other.begin() + std::ptrdiff_t( from ),
            other.begin() + std::ptrdiff_t( from + size ) );
    }

    const std::vector<Bytes>& seeds_;
    std::mt19937_64 random_;
};

} // namespace

int main( int argc, char** argv )
{
    int first = 1;
    uint64_t seconds = 0, seed = std::random_device()();
    for ( ; first + 1 < argc && argv[first][0] == '-'; first += 2 )
        ( std::string( argv[first] ) == "--seconds" ? seconds : seed ) = std::strtoull( argv[first + 1], nullptr, 10 );
    if ( first >= argc )
    {
        std::fprintf( stderr, "Usage: %s --seconds N [--seed N] FOLDER...\n", argv[0] );
        return EXIT_FAILURE;
    }
#if defined( __SANITIZE_ADDRESS__ )
    __sanitizer_set_death_callback( keepInput );
#else
    ::signal( SIGSEGV, onSignal );
#endif
    ::signal( SIGABRT, onSignal );
    ::signal( SIGALRM, onSignal );

    const auto seeds = readFolders( argc - first, argv + first );
    if ( seeds.empty() )
    {
        std::fprintf( stderr, "The folders hold no files\n" );
        return EXIT_FAILURE;
    }
    for ( const auto& one : seeds )
        run( one );
    std::printf( "replayed %zu files; seed %llu\n", seeds.size(), static_cast<unsigned long long>( seed ) );
    std::fflush( stdout );
    Mutator mutator( seeds, seed );
    size_t runs = 0;
    for ( const auto end = std::chrono::steady_clock::now() + std::chrono::seconds( seconds );
        std::chrono::steady_clock::now() < end; ++runs )
        run( mutator.next() );
    std::printf( "%zu changed inputs in %d s, no finding\n", runs, int( seconds ) );
    return EXIT_SUCCESS;
}
