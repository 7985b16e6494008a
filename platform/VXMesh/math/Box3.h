#pragma once

#include <VXMesh/math/Vector3.h>

#include <limits>

namespace VX
{

/// Axis-aligned box; a fresh one is empty and grows by `include`.
template <typename T>
struct Box3
{
    Vector3<T> min{ std::numeric_limits<T>::max(), std::numeric_limits<T>::max(), std::numeric_limits<T>::max() };
    Vector3<T> max{
        std::numeric_limits<T>::lowest(), std::numeric_limits<T>::lowest(), std::numeric_limits<T>::lowest() };

    template <std::floating_point U>
        requires( !std::same_as<T, U> )
    explicit( sizeof( U ) < sizeof( T ) ) operator Box3<U>() const
    {
        return valid() ? Box3<U>{ Vector3<U>( min ), Vector3<U>( max ) } : Box3<U>{};
    }

    bool operator==( const Box3& ) const = default;
    [[nodiscard]] bool valid() const { return min.x <= max.x && min.y <= max.y && min.z <= max.z; }
    [[nodiscard]] Vector3<T> center() const { return ( min + max ) * T( 0.5 ); }
    [[nodiscard]] Vector3<T> size() const { return valid() ? max - min : Vector3<T>{}; }
    [[nodiscard]] T diagonal() const { return size().length(); }

    void include( const Vector3<T>& p )
    {
        min = { std::min( min.x, p.x ), std::min( min.y, p.y ), std::min( min.z, p.z ) };
        max = { std::max( max.x, p.x ), std::max( max.y, p.y ), std::max( max.z, p.z ) };
    }
    void include( const Box3& b )
    {
        if ( !b.valid() )
            return;
        include( b.min );
        include( b.max );
    }
    /// The eight corners; meaningless for an empty box.
    [[nodiscard]] std::array<Vector3<T>, 8> corners() const
    {
        std::array<Vector3<T>, 8> out;
        for ( int i = 0; i < 8; ++i )
            out[size_t( i )] = { i & 1 ? max.x : min.x, i & 2 ? max.y : min.y, i & 4 ? max.z : min.z };
        return out;
    }
};

using Box3f = Box3<float>;
using Box3d = Box3<double>;

} // namespace VX
