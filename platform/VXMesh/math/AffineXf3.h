#pragma once

#include <VXMesh/math/Box3.h>

namespace VX
{

/// Square matrix by rows.
template <typename T>
struct Matrix3
{
    Vector3<T> x{ 1, 0, 0 }, y{ 0, 1, 0 }, z{ 0, 0, 1 };

    template <std::floating_point U>
        requires( !std::same_as<T, U> )
    explicit( sizeof( U ) < sizeof( T ) ) operator Matrix3<U>() const
    {
        return { Vector3<U>( x ), Vector3<U>( y ), Vector3<U>( z ) };
    }

    bool operator==( const Matrix3& ) const = default;
    friend Vector3<T> operator*( const Matrix3& m, const Vector3<T>& v )
    {
        return { dot( m.x, v ), dot( m.y, v ), dot( m.z, v ) };
    }
    friend Matrix3 operator*( const Matrix3& a, const Matrix3& b )
    {
        const Matrix3 t = b.transposed();
        return { { dot( a.x, t.x ), dot( a.x, t.y ), dot( a.x, t.z ) },
            { dot( a.y, t.x ), dot( a.y, t.y ), dot( a.y, t.z ) },
            { dot( a.z, t.x ), dot( a.z, t.y ), dot( a.z, t.z ) } };
    }
    [[nodiscard]] Matrix3 transposed() const { return { { x.x, y.x, z.x }, { x.y, y.y, z.y }, { x.z, y.z, z.z } }; }
    [[nodiscard]] T determinant() const { return dot( x, cross( y, z ) ); }
    /// Zero matrix where there is no inverse.
    [[nodiscard]] Matrix3 inverse() const
    {
        const T det = determinant();
        if ( det == T( 0 ) )
            return { {}, {}, {} };
        return Matrix3{ cross( y, z ) / det, cross( z, x ) / det, cross( x, y ) / det }.transposed();
    }
};

using Matrix3f = Matrix3<float>;
using Matrix3d = Matrix3<double>;

/// Rotation about a unit axis by an angle in radians (Rodrigues' formula).
[[nodiscard]] inline Matrix3f rotation( const Vector3f& axis, float angle )
{
    const float c = std::cos( angle ), s = std::sin( angle ), t = 1 - c;
    const Vector3f a = axis;
    return { { t * a.x * a.x + c, t * a.x * a.y - s * a.z, t * a.x * a.z + s * a.y },
        { t * a.x * a.y + s * a.z, t * a.y * a.y + c, t * a.y * a.z - s * a.x },
        { t * a.x * a.z - s * a.y, t * a.y * a.z + s * a.x, t * a.z * a.z + c } };
}

/// Affine map p -> A * p + b.
template <typename T>
struct AffineXf3
{
    Matrix3<T> A;
    Vector3<T> b;

    template <std::floating_point U>
        requires( !std::same_as<T, U> )
    explicit( sizeof( U ) < sizeof( T ) ) operator AffineXf3<U>() const
    {
        return { Matrix3<U>( A ), Vector3<U>( b ) };
    }

    bool operator==( const AffineXf3& ) const = default;
    [[nodiscard]] Vector3<T> operator()( const Vector3<T>& p ) const { return A * p + b; }
    /// Applies `g` first, then `f`.
    friend AffineXf3 operator*( const AffineXf3& f, const AffineXf3& g ) { return { f.A * g.A, f( g.b ) }; }
    [[nodiscard]] Box3<T> operator()( const Box3<T>& box ) const
    {
        Box3<T> out;
        if ( box.valid() )
            for ( const auto& corner : box.corners() )
                out.include( ( *this )( corner ) );
        return out;
    }
};

using AffineXf3f = AffineXf3<float>;
using AffineXf3d = AffineXf3<double>;

} // namespace VX
