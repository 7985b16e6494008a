#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace VX::Testing
{

/// The number that the next file gets: the same as before where nothing was left open.
inline int nextDescriptor()
{
    const int out = ::open( "/dev/null", O_RDONLY | O_CLOEXEC );
    ::close( out );
    return out;
}

/// For its lifetime this process has no input, as where it was started without one: the next file gets the number 0.
class WithoutInput
{
public:
    WithoutInput()
        : input_( ::fcntl( STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1 ) )
    {
        ::close( STDIN_FILENO );
    }
    ~WithoutInput()
    {
        ::close( STDIN_FILENO );
        if ( input_ < 0 )
            return;
        ::dup2( input_, STDIN_FILENO );
        ::close( input_ );
    }
    WithoutInput( const WithoutInput& ) = delete;
    WithoutInput& operator=( const WithoutInput& ) = delete;

private:
    int input_;
};

} // namespace VX::Testing
