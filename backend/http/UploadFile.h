#pragma once

#include <VXMesh/io/WriteAll.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace VX::Backend
{

/// A file that is written to, closed, and removed unless kept.
class UploadFile
{
public:
    explicit UploadFile( std::filesystem::path path )
        : path_( std::move( path ) )
        , fd_( ::open( path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600 ) )
        , trouble_( fd_ < 0 ? errno : 0 )
    {
    }
    UploadFile( const UploadFile& ) = delete;
    UploadFile& operator=( const UploadFile& ) = delete;
    ~UploadFile()
    {
        if ( fd_ < 0 )
            return;
        ::close( fd_ );
        if ( !kept_ )
            ::unlink( path_.c_str() );
    }
    /// Why it could not be opened, as an `errno`; 0 when it is open.
    [[nodiscard]] int trouble() const { return trouble_; }
    /// 0, or the `errno` of what went wrong.
    [[nodiscard]] int write( const char* data, size_t size ) const
    {
        return writeAll( fd_, { reinterpret_cast<const std::byte*>( data ), size } );
    }
    void keep() { kept_ = true; }

private:
    std::filesystem::path path_;
    int fd_;
    int trouble_;
    bool kept_ = false;
};

} // namespace VX::Backend
