#include <VXViewer/draw/Camera.h>

#include <VXMesh/scene/Origin.h>

#include <numbers>

namespace VX
{
namespace
{

constexpr float cFieldOfView = 0.6f; // radians from bottom to top
constexpr float cPi = std::numbers::pi_v<float>;

struct Angles
{
    float yaw, pitch;
};

Angles anglesOf( ViewPreset preset )
{
    switch ( preset )
    {
    case ViewPreset::Front:
        return { 0, 0 };
    case ViewPreset::Back:
        return { cPi, 0 };
    case ViewPreset::Left:
        return { -cPi / 2, 0 };
    case ViewPreset::Right:
        return { cPi / 2, 0 };
    case ViewPreset::Top:
        return { 0, cPi / 2 };
    case ViewPreset::Bottom:
        return { 0, -cPi / 2 };
    case ViewPreset::Isometric:
        break;
    }
    return { cPi / 5, 0.45f };
}

/// The middle of what is left free of a viewport whose sides are at -1 and 1.
Vector2f freeMiddle( Vector2f size, Vector2f covered )
{
    return { std::clamp( covered.x / size.x, 0.f, 0.9f ), -std::clamp( covered.y / size.y, 0.f, 0.9f ) };
}

} // namespace

Camera::Camera()
{
    setPreset( ViewPreset::Isometric );
}

void Camera::updateRotation_()
{
    // Looking along +Y at yaw and pitch 0, with X to the right and Z up.
    const float cy = std::cos( yaw_ ), sy = std::sin( yaw_ ), cp = std::cos( pitch_ ), sp = std::sin( pitch_ );
    const Vector3f right{ cy, sy, 0 };
    const Vector3f back{ sy * cp, -cy * cp, sp };
    rotation_ = { right, cross( back, right ), back };
    ++revision_;
}

void Camera::setViewport( int width, int height )
{
    width = std::max( width, 1 );
    height = std::max( height, 1 );
    if ( width == width_ && height == height_ )
        return;
    width_ = width;
    height_ = height;
    ++revision_;
}

void Camera::setSceneBox( const Box3d& box )
{
    sceneBox_ = box;
    ++revision_;
}

float Camera::halfHeight_() const
{
    return distance_ * std::tan( cFieldOfView / 2 );
}

void Camera::orbit( Vector2f delta )
{
    // A drag across the viewport's smaller side is half a turn.
    const float k = cPi / float( std::min( width_, height_ ) );
    yaw_ -= delta.x * k;
    pitch_ = std::clamp( pitch_ + delta.y * k, -cPi / 2, cPi / 2 );
    updateRotation_();
}

void Camera::orbit( Vector2f delta, const Vector3d& center )
{
    const Vector3d seen = Matrix3d( rotation_ ) * ( center - target_ );
    orbit( delta );
    target_ = center - Matrix3d( rotation_ ).transposed() * seen;
}

void Camera::pan( Vector2f delta )
{
    const float k = 2 * halfHeight_() / float( height_ );
    target_ += Vector3d( rotation_.x * ( -delta.x * k ) + rotation_.y * ( delta.y * k ) );
    ++revision_;
}

void Camera::zoom( float steps, Vector2f anchor )
{
    const float factor = std::pow( 0.85f, steps );
    const float size = std::max( float( sceneBox_.diagonal() ), 1e-6f );
    const float detail = detail_ > 0 ? std::clamp( float( detail_ ), 1e-6f, size ) : size;
    const float next = std::clamp( distance_ * factor, detail * 1e-4f, size * 100 );
    const float k = 2 * ( halfHeight_() - halfHeight_() * next / distance_ ) / float( height_ );
    const Vector2f fromCenter = anchor - Vector2f{ float( width_ ) / 2, float( height_ ) / 2 };
    target_ += Vector3d( rotation_.x * ( fromCenter.x * k ) - rotation_.y * ( fromCenter.y * k ) );
    distance_ = next;
    ++revision_;
}

Camera::Extent Camera::extentOf_( const Box3d& box ) const
{
    const auto xf = view();
    const float k = std::tan( cFieldOfView / 2 );
    Extent out;
    for ( const auto& corner : box.corners() )
    {
        const Vector3f p( xf( corner ) );
        const float depth = orthographic_ ? distance_ : std::max( -p.z, distance_ * 0.05f );
        const Vector2f at{ p.x / ( depth * k * aspect_() ), p.y / ( depth * k ) };
        out.low = { std::min( out.low.x, at.x ), std::min( out.low.y, at.y ) };
        out.high = { std::max( out.high.x, at.x ), std::max( out.high.y, at.y ) };
    }
    return out;
}

void Camera::keepInMiddle( const Area& former, const Area& now )
{
    const auto middle = [&]( const Area& area )
    {
        const auto free = freeMiddle( area.size, area.covered );
        return rotation_.x * ( free.x * halfHeight_() * area.size.x / area.size.y ) +
               rotation_.y * ( free.y * halfHeight_() );
    };
    // Half of the smaller side of the free part.
    const auto reach = []( const Area& area )
    {
        const auto free = freeMiddle( area.size, area.covered );
        return std::min( area.size.x / area.size.y * ( 1 - free.x ), 1 + free.y );
    };
    if ( former.size.x < 1 || former.size.y < 1 || now.size.x < 1 || now.size.y < 1 )
        return;
    target_ += Vector3d( middle( former ) );
    distance_ *= reach( former ) / reach( now );
    target_ += Vector3d( middle( now ) * -1.f );
    ++revision_;
}

void Camera::fit( const Box3d& box, Vector2f covered )
{
    if ( !box.valid() )
        return;
    // With perspective the size on the screen depends on where the camera stands, so a few steps lead there.
    constexpr float cFilled = 0.8f;
    const auto free = freeMiddle( { float( width_ ), float( height_ ) }, covered );
    // A line that is seen from its end has no size on the screen; its beginning stays before the viewer. A point is
    // seen from as far as before.
    const float diagonal = float( box.diagonal() );
    const float least = diagonal > 0 ? diagonal * ( orthographic_ ? 1e-4f : 0.501f ) : distance_;
    target_ = box.center();
    if ( diagonal > 0 )
        distance_ = std::max( diagonal, 1e-6f ) / std::tan( cFieldOfView / 2 );
    for ( int i = 0; i < 8; ++i )
    {
        const auto [low, high] = extentOf_( box );
        const Vector2f middle = ( low + high ) * 0.5f - free;
        target_ += Vector3d(
            rotation_.x * ( middle.x * halfHeight_() * aspect_() ) + rotation_.y * ( middle.y * halfHeight_() ) );
        const Vector2f size = ( high - low ) * 0.5f;
        distance_ =
            std::max( distance_ * std::max( size.x / ( 1 - free.x ), size.y / ( 1 + free.y ) ) / cFilled, least );
    }
    ++revision_;
}

void Camera::setPreset( ViewPreset preset )
{
    const auto [yaw, pitch] = anglesOf( preset );
    yaw_ = yaw;
    pitch_ = pitch;
    updateRotation_();
}

void Camera::setOrthographic( bool on )
{
    orthographic_ = on;
    ++revision_;
}

Vector3d Camera::eye() const
{
    return target_ + Vector3d( rotation_.z * distance_ );
}

AffineXf3d Camera::view() const
{
    const Matrix3d turn = rotation_;
    return { turn, -( turn * eye() ) };
}

AffineXf3f Camera::toView( const AffineXf3d& worldXf ) const
{
    // The shift first: near the viewer it cancels out what is large.
    const Matrix3d turn = rotation_;
    return AffineXf3f( AffineXf3d{ turn * worldXf.A, turn * ( worldXf.b - eye() ) } );
}

Matrix4f Camera::projection() const
{
    Matrix4f out = wholeProjection_();
    for ( size_t column = 0; column < 4; ++column )
    {
        const float w = out.at( 3, column );
        out.at( 0, column ) = out.at( 0, column ) * cropScale_ + cropShift_.x * w;
        out.at( 1, column ) = out.at( 1, column ) * cropScale_ + cropShift_.y * w;
    }
    return out;
}

Matrix4f Camera::wholeProjection_() const
{
    // The planes hug the scene, so that the depth buffer's precision is spent on it.
    const Box3f seen( view()( sceneBox_ ) );
    const float far = seen.valid() ? std::max( -seen.min.z, distance_ ) * 1.01f : distance_ * 10;
    // However far the scene reaches, what is being looked at is not cut off.
    const float least = std::min( far * 1e-4f, distance_ * 0.1f );
    const float near = std::max( seen.valid() ? -seen.max.z * 0.99f : distance_ * 0.1f, least );
    const float top = halfHeight_();
    Matrix4f out;
    if ( orthographic_ )
    {
        const float front = seen.valid() ? std::min( -seen.max.z, distance_ ) - distance_ * 0.01f : -distance_;
        out.at( 0, 0 ) = 1 / ( top * aspect_() );
        out.at( 1, 1 ) = 1 / top;
        out.at( 2, 2 ) = -2 / ( far - front );
        out.at( 2, 3 ) = -( far + front ) / ( far - front );
        return out;
    }
    const float k = distance_ / top;
    out.at( 0, 0 ) = k / aspect_();
    out.at( 1, 1 ) = k;
    out.at( 2, 2 ) = -( far + near ) / ( far - near );
    out.at( 2, 3 ) = -2 * far * near / ( far - near );
    out.at( 3, 2 ) = -1;
    out.at( 3, 3 ) = 0;
    return out;
}

Ray3d Camera::ray( Vector2f pixel ) const
{
    const Vector2f place{ pixel.x / float( width_ ) * 2 - 1, 1 - pixel.y / float( height_ ) * 2 };
    const float x = ( place.x - cropShift_.x ) / cropScale_ * halfHeight_() * aspect_();
    const float y = ( place.y - cropShift_.y ) / cropScale_ * halfHeight_();
    const Vector3d onTarget = target_ + Vector3d( rotation_.x * x + rotation_.y * y );
    if ( !orthographic_ )
        return { eye(), onTarget - eye() };
    // What is between the viewer and the target counts, however far the scene reaches.
    const Vector3d towardsViewer = rotation_.z;
    return { onTarget + towardsViewer * ( distance_ + sceneBox_.diagonal() ), -towardsViewer };
}

Vector2f Camera::project( const Vector3d& point ) const
{
    const Vector3f p = toView( translation( point ) ).b;
    const auto m = projection();
    const float w = m.at( 3, 2 ) * p.z + m.at( 3, 3 );
    const float x = ( m.at( 0, 0 ) * p.x + m.at( 0, 2 ) * p.z + m.at( 0, 3 ) ) / w;
    const float y = ( m.at( 1, 1 ) * p.y + m.at( 1, 2 ) * p.z + m.at( 1, 3 ) ) / w;
    return { ( x + 1 ) / 2 * float( width_ ), ( 1 - y ) / 2 * float( height_ ) };
}

Vector3d Camera::unproject( Vector2f pixel, float depth ) const
{
    const auto m = projection();
    const float place = depth * 2 - 1;
    const float z = ( m.at( 2, 3 ) - place * m.at( 3, 3 ) ) / ( place * m.at( 3, 2 ) - m.at( 2, 2 ) );
    const Ray3d through = ray( pixel );
    const auto toView = view();
    const double from = toView( through.origin ).z, step = ( toView.A * through.direction ).z;
    return through.origin + through.direction * ( ( double( z ) - from ) / step );
}

Camera Camera::cropped( Vector2f low, Vector2f high, int width, int height ) const
{
    Camera out = *this;
    out.setViewport( width, height );
    const Vector2f size{ std::max( high.x - low.x, 1.f ), std::max( high.y - low.y, 1.f ) };
    const float enlarged = std::min( float( out.width_ ) / size.x, float( out.height_ ) / size.y );
    out.cropScale_ = enlarged * float( height_ ) / float( out.height_ );
    // Pixels of this viewport by those of the new one, from the middle of the viewport to that of the part.
    const Vector2f middle = ( low + high ) * 0.5f - Vector2f{ float( width_ ), float( height_ ) } * 0.5f;
    out.cropShift_ = { -2 * middle.x * enlarged / float( out.width_ ), 2 * middle.y * enlarged / float( out.height_ ) };
    ++out.revision_;
    return out;
}

} // namespace VX
