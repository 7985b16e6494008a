#pragma once

#include <VXMesh/math/Box3.h>

namespace VX
{

/// Square matrix by rows.
struct Matrix3f
{
    Vector3f x{ 1, 0, 0 }, y{ 0, 1, 0 }, z{ 0, 0, 1 };

    bool operator==( const Matrix3f& ) const = default;
    friend Vector3f operator*( const Matrix3f& m, const Vector3f& v )
    {
        return { dot( m.x, v ), dot( m.y, v ), dot( m.z, v ) };
    }
    friend Matrix3f operator*( const Matrix3f& a, const Matrix3f& b )
    {
        const Matrix3f t = b.transposed();
        return { { dot( a.x, t.x ), dot( a.x, t.y ), dot( a.x, t.z ) },
            { dot( a.y, t.x ), dot( a.y, t.y ), dot( a.y, t.z ) },
            { dot( a.z, t.x ), dot( a.z, t.y ), dot( a.z, t.z ) } };
    }
    [[nodiscard]] Matrix3f transposed() const { return { { x.x, y.x, z.x }, { x.y, y.y, z.y }, { x.z, y.z, z.z } }; }
    [[nodiscard]] float determinant() const { return dot( x, cross( y, z ) ); }
    /// Zero matrix where there is no inverse.
    [[nodiscard]] Matrix3f inverse() const
    {
        const float det = determinant();
        if ( det == 0.f )
            return { {}, {}, {} };
        return Matrix3f{ cross( y, z ) / det, cross( z, x ) / det, cross( x, y ) / det }.transposed();
    }
};

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
struct AffineXf3f
{
    Matrix3f A;
    Vector3f b;

    bool operator==( const AffineXf3f& ) const = default;
    [[nodiscard]] Vector3f operator()( const Vector3f& p ) const { return A * p + b; }
    /// Applies `g` first, then `f`.
    friend AffineXf3f operator*( const AffineXf3f& f, const AffineXf3f& g ) { return { f.A * g.A, f( g.b ) }; }
    [[nodiscard]] Box3f operator()( const Box3f& box ) const
    {
        Box3f out;
        if ( box.valid() )
            for ( const auto& corner : box.corners() )
                out.include( ( *this )( corner ) );
        return out;
    }
};

} // namespace VX
