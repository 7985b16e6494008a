#pragma once

#include <memory>
#include <string>

namespace VX::Backend
{

/// Writes lines to a descriptor by a thread of its own, so that who logs waits for nobody who reads. What cannot be
/// written as fast as it comes is dropped above some megabytes, and counted. Any thread.
class LineWriter
{
public:
    /// The descriptor must outlive the process's interest in it.
    explicit LineWriter( int descriptor );
    /// Waits for what has come, for a second at most.
    ~LineWriter();
    LineWriter( const LineWriter& ) = delete;
    LineWriter& operator=( const LineWriter& ) = delete;

    /// A line with its end.
    void write( const std::string& line );

private:
    struct State;
    /// Of the thread, too, which may be stuck longer than this object lives.
    std::shared_ptr<State> state_;
};

} // namespace VX::Backend
