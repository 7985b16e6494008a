#pragma once

#include <VXMesh/math/AffineXf3.h>

#include <array>

namespace VX
{

/// 4x4 matrix by columns, as OpenGL takes it.
struct Matrix4f
{
    std::array<float, 16> m{ 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1 };

    [[nodiscard]] float at( size_t row, size_t column ) const { return m[column * 4 + row]; }
    [[nodiscard]] float& at( size_t row, size_t column ) { return m[column * 4 + row]; }

    friend Matrix4f operator*( const Matrix4f& a, const Matrix4f& b )
    {
        Matrix4f out;
        for ( size_t row = 0; row < 4; ++row )
            for ( size_t column = 0; column < 4; ++column )
            {
                float sum = 0;
                for ( size_t k = 0; k < 4; ++k )
                    sum += a.at( row, k ) * b.at( k, column );
                out.at( row, column ) = sum;
            }
        return out;
    }

    [[nodiscard]] static Matrix4f from( const AffineXf3f& xf )
    {
        Matrix4f out;
        const Vector3f rows[] = { xf.A.x, xf.A.y, xf.A.z };
        const float shift[] = { xf.b.x, xf.b.y, xf.b.z };
        for ( size_t row = 0; row < 3; ++row )
        {
            out.at( row, 0 ) = rows[row].x;
            out.at( row, 1 ) = rows[row].y;
            out.at( row, 2 ) = rows[row].z;
            out.at( row, 3 ) = shift[row];
        }
        return out;
    }
};

} // namespace VX
