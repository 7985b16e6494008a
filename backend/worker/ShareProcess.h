#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include <cstddef>

namespace VX::Backend
{

/// Two processes that hand each other small values, in turns.
class ShareLink
{
public:
    ShareLink( int in, int out )
        : in_( in )
        , out_( out )
    {
    }
    ShareLink( ShareLink&& other ) noexcept
        : in_( std::exchange( other.in_, -1 ) )
        , out_( std::exchange( other.out_, -1 ) )
    {
    }
    ShareLink& operator=( ShareLink&& ) = delete;
    ~ShareLink();

    /// False when the other process has ended.
    template <typename T>
    [[nodiscard]] bool send( const T& value )
    {
        static_assert( std::is_trivially_copyable_v<T> );
        return write_( &value, sizeof value );
    }
    /// Waits; nothing when the other process ends first.
    template <typename T>
    [[nodiscard]] std::optional<T> receive()
    {
        static_assert( std::is_trivially_copyable_v<T> );
        T value;
        return read_( &value, sizeof value ) ? std::optional<T>( value ) : std::nullopt;
    }

private:
    [[nodiscard]] bool write_( const void* data, size_t size );
    [[nodiscard]] bool read_( void* data, size_t size );

    int in_;
    int out_;
};

/// Forks this process and does the work in the copy, which then ends; it ends with this process too. Nothing when the
/// system has no process or pipe left. The copy has no other threads than the one that called, so none may be in use.
[[nodiscard]] std::optional<ShareLink> startShare( const std::function<void( ShareLink& )>& work );

} // namespace VX::Backend
