#pragma once

#include <tl/expected.hpp>

#include <cstdint>
#include <string>

namespace VX::Backend
{

/// What works from when it is made until its process is told to stop.
class Daemon
{
public:
    virtual ~Daemon() = default;
    Daemon( const Daemon& ) = delete;
    Daemon& operator=( const Daemon& ) = delete;

    /// What is printed once it works.
    [[nodiscard]] virtual std::string greeting() const = 0;
    /// That of the operator's listener; 0 when there is none.
    [[nodiscard]] virtual uint16_t monitorPort() const = 0;
    /// Takes over what was changed beside it, and tells the log.
    virtual void reload() = 0;
    /// Takes no more work; what runs goes on.
    virtual void drain() = 0;
    /// Whether nothing runs any more after it.
    [[nodiscard]] virtual bool isDrained() const = 0;

protected:
    Daemon() = default;
};

} // namespace VX::Backend
