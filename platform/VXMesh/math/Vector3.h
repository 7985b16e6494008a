#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstdint>

namespace VX
{

/// Point or direction in the plane; pixels where the screen is meant.
template <typename T>
struct Vector2
{
    T x{}, y{};

    friend Vector2 operator+( Vector2 a, Vector2 b ) { return { a.x + b.x, a.y + b.y }; }
    friend Vector2 operator-( Vector2 a, Vector2 b ) { return { a.x - b.x, a.y - b.y }; }
    friend Vector2 operator*( Vector2 a, T k ) { return { a.x * k, a.y * k }; }
    bool operator==( const Vector2& ) const = default;
    [[nodiscard]] T length() const { return std::hypot( x, y ); }
};

using Vector2f = Vector2<float>;

/// Point or direction in space, in the units of the file it came from.
///
/// Geometry is float and relative to its object; places in the scene are double, because floats tell points that are
/// millions of units from zero only half a unit apart. Going to double is free to happen; going to float is asked for.
template <typename T>
struct Vector3
{
    T x{}, y{}, z{};

    template <std::floating_point U>
        requires( !std::same_as<T, U> )
    explicit( sizeof( U ) < sizeof( T ) ) operator Vector3<U>() const
    {
        return { U( x ), U( y ), U( z ) };
    }

    friend Vector3 operator+( const Vector3& a, const Vector3& b ) { return { a.x + b.x, a.y + b.y, a.z + b.z }; }
    friend Vector3 operator-( const Vector3& a, const Vector3& b ) { return { a.x - b.x, a.y - b.y, a.z - b.z }; }
    friend Vector3 operator*( const Vector3& a, T k ) { return { a.x * k, a.y * k, a.z * k }; }
    friend Vector3 operator*( T k, const Vector3& a ) { return a * k; }
    friend Vector3 operator/( const Vector3& a, T k ) { return { a.x / k, a.y / k, a.z / k }; }
    Vector3 operator-() const { return { -x, -y, -z }; }
    Vector3& operator+=( const Vector3& b ) { return *this = *this + b; }
    bool operator==( const Vector3& ) const = default;

    [[nodiscard]] T lengthSq() const { return x * x + y * y + z * z; }
    [[nodiscard]] T length() const { return std::sqrt( lengthSq() ); }
    /// The vector at length 1; the zero vector stays what it is.
    [[nodiscard]] Vector3 normalized() const
    {
        const T len = length();
        return len > T( 0 ) ? *this / len : *this;
    }
    [[nodiscard]] bool isFinite() const { return std::isfinite( x ) && std::isfinite( y ) && std::isfinite( z ); }
};

template <typename T>
[[nodiscard]] T dot( const Vector3<T>& a, const Vector3<T>& b )
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <typename T>
[[nodiscard]] Vector3<T> cross( const Vector3<T>& a, const Vector3<T>& b )
{
    return { a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x };
}

using Vector3f = Vector3<float>;
using Vector3d = Vector3<double>;

} // namespace VX
