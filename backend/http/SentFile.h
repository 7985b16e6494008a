#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include <fcntl.h>
#include <unistd.h>

namespace VX::Backend
{

/// A file that is read piece by piece, and closed. What it holds stays the same, whatever becomes of its name.
class SentFile
{
public:
    explicit SentFile( const std::filesystem::path& path )
        : fd_( ::open( path.c_str(), O_RDONLY | O_CLOEXEC ) )
    {
    }
    SentFile( const SentFile& ) = delete;
    SentFile& operator=( const SentFile& ) = delete;
    ~SentFile()
    {
        if ( fd_ >= 0 )
            ::close( fd_ );
    }
    /// The number of bytes that were read; 0 where there are none, or none can be read.
    [[nodiscard]] size_t read( std::span<char> room, uint64_t offset ) const
    {
        const ssize_t count = ::pread( fd_, room.data(), room.size(), off_t( offset ) );
        return count < 0 ? 0 : size_t( count );
    }

private:
    int fd_;
};

} // namespace VX::Backend
