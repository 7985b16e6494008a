#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <unistd.h>

namespace VX::Fuzz
{

/// A folder of this process's own, in memory where the system has such a place; removed at the end.
class Scratch
{
public:
    Scratch()
        : path_( std::filesystem::path( ::access( "/dev/shm", W_OK ) == 0 ? "/dev/shm" : "/tmp" ) /
                 ( "orvanta-fuzz-" + std::to_string( ::getpid() ) ) )
    {
        std::filesystem::create_directories( path_ );
    }
    ~Scratch()
    {
        std::error_code ec;
        std::filesystem::remove_all( path_, ec );
    }
    Scratch( const Scratch& ) = delete;
    Scratch& operator=( const Scratch& ) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    std::filesystem::path write( const std::string& name, std::string_view bytes ) const
    {
        const auto file = path_ / name;
        std::ofstream( file, std::ios::binary ).write( bytes.data(), std::streamsize( bytes.size() ) );
        return file;
    }

private:
    std::filesystem::path path_;
};

[[nodiscard]] inline std::string_view text( const uint8_t* data, size_t size )
{
    return { reinterpret_cast<const char*>( data ), size };
}

/// Ends the program with a message, as a finding, when what must hold does not.
inline void require( bool holds, const char* what )
{
    if ( holds )
        return;
    std::fprintf( stderr, "does not hold: %s\n", what );
    std::abort();
}

} // namespace VX::Fuzz
