#pragma once

#include <functional>
#include <string>

namespace VX::Backend
{

/// Tells the other processes that share a database of what has changed in it. Only ever a hint: what rings may be lost,
/// and who waits for a change looks for it from time to time all the same. Any thread.
class Bell
{
public:
    /// A word that another process rang; an empty one where some may have been missed.
    using Heard = std::function<void( const std::string& word )>;

    virtual ~Bell() = default;
    Bell( const Bell& ) = delete;
    Bell& operator=( const Bell& ) = delete;

    /// Rings after a change was committed; it waits for nobody.
    virtual void ring( const std::string& word ) = 0;
    /// Who hears, on a thread of the bell's own, until it goes; none before that. Once.
    virtual void listen( Heard heard ) = 0;

protected:
    Bell() = default;
};

} // namespace VX::Backend
