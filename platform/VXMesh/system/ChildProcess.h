#pragma once

#include <VXMesh/Export.h>

#include <tl/expected.hpp>

#include <optional>
#include <string>
#include <vector>

namespace VX
{

/// A program that this one has started, with a pipe to its standard input and one from its standard output. It inherits
/// no other file and no terminal of ours, and is killed when the object goes. Movable, not copyable; one thread at a
/// time.
class VXMESH_API ChildProcess
{
public:
    struct Setup
    {
        /// The program, looked up in PATH when it has no slash, and its arguments.
        std::vector<std::string> command;
        /// "NAME=value" each, the only variables that the program sees; ours when this is not given.
        std::optional<std::vector<std::string>> environment;
        /// Whether its standard error goes where ours goes, and not to nowhere.
        bool showsErrors = false;
    };

    /// The error says that it could not be started and why.
    [[nodiscard]] static tl::expected<ChildProcess, std::string> start( const Setup& setup );

    ChildProcess( ChildProcess&& other ) noexcept;
    ChildProcess& operator=( ChildProcess&& other ) noexcept;
    ChildProcess( const ChildProcess& ) = delete;
    ChildProcess& operator=( const ChildProcess& ) = delete;
    /// Kills it and waits for its end.
    ~ChildProcess();

    /// Whether it took all of these bytes. The signal of a broken pipe has to be ignored by the caller.
    bool write( const void* data, size_t size ) const;

    enum class Output
    {
        Ready,  ///< there is something to read, or it has ended
        Silent, ///< nothing came in this time
    };
    /// Waits for so many milliseconds at most.
    [[nodiscard]] Output waitForOutput( int milliseconds ) const;

    /// Reads what is there, up to `size` bytes, and waits when nothing is; 0 at the end of its output.
    [[nodiscard]] size_t read( void* data, size_t size ) const;

    /// Waits for its end, for so many milliseconds at most; whether it came. What it ended with stays for `wait`.
    [[nodiscard]] bool hasEndedWithin( int milliseconds ) const;
    void kill() const;
    /// Waits for its end; the status is the one of waitpid().
    int wait();

private:
    ChildProcess() = default;

    int pid_ = -1;
    int input_ = -1;  ///< our end of its standard input
    int output_ = -1; ///< our end of its standard output
};

} // namespace VX
