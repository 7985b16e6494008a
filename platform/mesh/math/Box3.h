#pragma once

#include <VXMesh/math/Vector3.h>

#include <limits>

namespace VX
{

/// Axis-aligned box; a fresh one is empty and grows by `include`.
struct Box3f
{
    Vector3f min{
        std::numeric_limits<float>::max(), std::numeric_limits<float>::max(), std::numeric_limits<float>::max() };
    Vector3f max{ std::numeric_limits<float>::lowest(), std::numeric_limits<float>::lowest(),
        std::numeric_limits<float>::lowest() };

    [[nodiscard]] bool valid() const { return min.x <= max.x && min.y <= max.y && min.z <= max.z; }
    [[nodiscard]] Vector3f center() const { return ( min + max ) * 0.5f; }
    [[nodiscard]] Vector3f size() const { return valid() ? max - min : Vector3f{}; }
    [[nodiscard]] float diagonal() const { return size().length(); }

    void include( const Vector3f& p )
    {
        min = { std::min( min.x, p.x ), std::min( min.y, p.y ), std::min( min.z, p.z ) };
        max = { std::max( max.x, p.x ), std::max( max.y, p.y ), std::max( max.z, p.z ) };
    }
    void include( const Box3f& b )
    {
        if ( !b.valid() )
            return;
        include( b.min );
        include( b.max );
    }
    /// The eight corners; meaningless for an empty box.
    [[nodiscard]] std::array<Vector3f, 8> corners() const
    {
        std::array<Vector3f, 8> out;
        for ( int i = 0; i < 8; ++i )
            out[size_t( i )] = { i & 1 ? max.x : min.x, i & 2 ? max.y : min.y, i & 4 ? max.z : min.z };
        return out;
    }
};

} // namespace VX
