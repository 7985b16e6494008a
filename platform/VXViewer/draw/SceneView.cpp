#include <VXViewer/draw/SceneView.h>

#include <VXViewer/loop/Clock.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <cstring>

namespace VX
{
namespace
{

// A software rasteriser pays for every sample; beyond this many triangles frames come before smooth edges, and before
// triangles while the camera moves.
constexpr size_t cMaxTrianglesInSoftware = 300'000;
constexpr int cSamples = 4;
constexpr int64_t cMaxPixelsWithSamples = 3840 * 2160;

bool isSoftware()
{
    static const bool sSoftware = []
    {
        const auto* name = reinterpret_cast<const char*>( glGetString( GL_RENDERER ) );
        return name && std::strstr( name, "llvmpipe" );
    }();
    return sSoftware;
}

void attach( GLenum attachment, GlRenderbuffer& buffer, GLenum format, int samples, int width, int height )
{
    glBindRenderbuffer( GL_RENDERBUFFER, buffer.get() );
    glRenderbufferStorageMultisample( GL_RENDERBUFFER, samples, format, width, height );
    glFramebufferRenderbuffer( GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, buffer.get() );
}

/// A new texture as the colours of the bound framebuffer; its kind depends on the samples.
void attachColors( GlTexture& texture, int samples, int width, int height )
{
    texture = {};
    const GLenum target = samples > 0 ? GL_TEXTURE_2D_MULTISAMPLE : GL_TEXTURE_2D;
    glBindTexture( target, texture.get() );
    if ( samples > 0 )
        glTexImage2DMultisample( target, samples, GL_RGBA8, width, height, GL_TRUE );
    else
    {
        glTexImage2D( target, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr );
        glTexParameteri( target, GL_TEXTURE_MIN_FILTER, GL_NEAREST );
    }
    glFramebufferTexture2D( GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target, texture.get(), 0 );
}

} // namespace

SceneView::SceneView( std::shared_ptr<Object> root )
    : root_( std::move( root ) )
{
}

void SceneView::resize( int width, int height )
{
    width_ = std::max( width, 1 );
    height_ = std::max( height, 1 );
    camera_.setViewport( width_, height_ );
}

SceneView::Drawn SceneView::current_() const
{
    return { root_->revision(), camera_.revision(), overlayRevision_, width_, height_, settings_ };
}

void SceneView::setOverlays( const std::string& owner, std::vector<Overlay> overlays )
{
    overlays_[owner] = std::move( overlays );
    overlayBox_ = {};
    std::vector<Overlay> all;
    for ( const auto& [name, list] : overlays_ )
        for ( const auto& overlay : list )
        {
            overlayBox_.include( overlay.xf( overlay.mesh->box() ) );
            all.push_back( overlay );
        }
    renderer_.setOverlays( std::move( all ) );
    ++overlayRevision_;
    sceneRevision_ = 0;
}

bool SceneView::isOutdated() const
{
    return current_() != drawn_ || ( coarse_ && secondsNow() - movedAt_ >= cStandsStill );
}

bool SceneView::onlyCameraMoved_() const
{
    auto before = drawn_;
    before.camera = camera_.revision();
    return drawn_.camera != camera_.revision() && before == current_();
}

void SceneView::updateScene_()
{
    if ( sceneRevision_ == root_->revision() )
        return;
    sceneRevision_ = root_->revision();
    renderer_.setScene( *root_ );
    camera_.setSceneBox( shownBox_() );
    camera_.setDetail( renderer_.smallestDiagonal() );
}

Box3d SceneView::shownBox_() const
{
    Box3d box = root_->treeBox( true );
    box.include( overlayBox_ );
    return box;
}

void SceneView::updateTargets_()
{
    const bool tooMany = isSoftware() && renderer_.triangleCount() > cMaxTrianglesInSoftware;
    // The background has no edges to smooth, and the first frame comes sooner without.
    const int samples = tooMany || ( renderer_.isEmpty() && !overlayBox_.valid() ) ? 0 : cSamples;
    if ( targetWidth_ == width_ && targetHeight_ == height_ && samples_ == samples )
        return;
    targetWidth_ = width_;
    targetHeight_ = height_;
    samples_ = samples;
    glBindFramebuffer( GL_FRAMEBUFFER, drawing_.get() );
    attachColors( color_, samples, width_, height_ );
    attach( GL_DEPTH_ATTACHMENT, depth_, GL_DEPTH_COMPONENT24, samples, width_, height_ );
    if ( glCheckFramebufferStatus( GL_FRAMEBUFFER ) != GL_FRAMEBUFFER_COMPLETE )
        spdlog::error( "No framebuffer of {}x{} pixels can be made", width_, height_ );
    if ( samples == 0 )
        return;
    glBindFramebuffer( GL_FRAMEBUFFER, resolved_.get() );
    attachColors( resolvedColor_, 0, width_, height_ );
}

void SceneView::resolve_()
{
    if ( samples_ == 0 )
        return;
    glBindFramebuffer( GL_FRAMEBUFFER, resolved_.get() );
    copy_.draw( color_.get(), samples_ );
}

void SceneView::prepareDrawing_( int width, int height )
{
    glViewport( 0, 0, width, height );
    glDisable( GL_SCISSOR_TEST );
    glDisable( GL_BLEND );
    glDisable( GL_CULL_FACE );
    glDepthMask( GL_TRUE );
}

void SceneView::render_( Detail detail )
{
    updateScene_();
    coarse_ = detail == Detail::InTime && onlyCameraMoved_() && isSoftware() &&
              renderer_.triangleCount() > cMaxTrianglesInSoftware;
    movedAt_ = secondsNow();
    updateTargets_();
    prepareDrawing_( width_, height_ );
    glBindFramebuffer( GL_FRAMEBUFFER, drawing_.get() );
    renderer_.draw( camera_, settings_, coarse_ );
    resolve_();
    drawn_ = current_();
}

void SceneView::draw( GLuint framebuffer, Detail detail )
{
    if ( isOutdated() || ( coarse_ && detail == Detail::Full ) )
        render_( detail );
    glBindFramebuffer( GL_FRAMEBUFFER, framebuffer );
    glViewport( 0, 0, width_, height_ );
    copy_.draw( samples_ > 0 ? resolvedColor_.get() : color_.get(), 0 );
}

tl::expected<Image, std::string> SceneView::takePicture( const Camera& camera, const DrawSettings& settings )
{
    updateScene_();
    Camera own = camera;
    own.setSceneBox( shownBox_() );
    const int width = own.width(), height = own.height();
    // Edges need less smoothing the more pixels there are, and the memory goes with both.
    const int samples = int64_t( width ) * height <= cMaxPixelsWithSamples ? cSamples : 0;
    GlFramebuffer drawing, resolved;
    GlTexture color, resolvedColor;
    GlRenderbuffer depth;
    while ( glGetError() != GL_NO_ERROR )
        ;
    glBindFramebuffer( GL_FRAMEBUFFER, drawing.get() );
    attachColors( color, samples, width, height );
    attach( GL_DEPTH_ATTACHMENT, depth, GL_DEPTH_COMPONENT24, samples, width, height );
    if ( glGetError() != GL_NO_ERROR || glCheckFramebufferStatus( GL_FRAMEBUFFER ) != GL_FRAMEBUFFER_COMPLETE )
        return tl::unexpected( fmt::format(
            "There is not enough memory for a picture of {} x {} pixels. Take a smaller one.", width, height ) );
    prepareDrawing_( width, height );
    renderer_.draw( own, settings );
    if ( samples > 0 )
    {
        glBindFramebuffer( GL_FRAMEBUFFER, resolved.get() );
        attachColors( resolvedColor, 0, width, height );
        copy_.draw( color.get(), samples );
    }
    return readFramebuffer( samples > 0 ? resolved.get() : drawing.get(), width, height, !settings.background );
}

GLuint SceneView::drawIdAt_( int x, int y )
{
    glBindFramebuffer( GL_FRAMEBUFFER, ids_.get() );
    attach( GL_COLOR_ATTACHMENT0, idColor_, GL_R32UI, 0, width_, height_ );
    attach( GL_DEPTH_ATTACHMENT, idDepth_, GL_DEPTH_COMPONENT24, 0, width_, height_ );
    glViewport( 0, 0, width_, height_ );
    // One pixel is asked for, so only one is rasterised.
    glEnable( GL_SCISSOR_TEST );
    glScissor( x, y, 1, 1 );
    const GLuint nothing[4] = { 0, 0, 0, 0 };
    glClearBufferuiv( GL_COLOR, 0, nothing );
    glClear( GL_DEPTH_BUFFER_BIT );
    renderer_.drawIds( camera_ );
    GLuint id = 0;
    glReadPixels( x, y, 1, 1, GL_RED_INTEGER, GL_UNSIGNED_INT, &id );
    glDisable( GL_SCISSOR_TEST );
    return id;
}

Object* SceneView::pick( Vector2f position )
{
    updateScene_();
    const int x = int( position.x ), y = height_ - 1 - int( position.y );
    if ( x < 0 || y < 0 || x >= width_ || y >= height_ )
        return nullptr;
    return renderer_.pickable( drawIdAt_( x, y ) );
}

std::optional<Vector3d> SceneView::pickPoint( Vector2f position )
{
    const int x = int( position.x ), y = height_ - 1 - int( position.y );
    if ( x < 0 || y < 0 || x >= width_ || y >= height_ )
        return {};
    // The picture has the depths already, where it is not averaged of several samples and not full of gaps. That counts
    // where a scene takes long to draw.
    if ( samples_ == 0 && !settings_.wireframe && current_() == drawn_ )
        glBindFramebuffer( GL_FRAMEBUFFER, drawing_.get() );
    else if ( !pick( position ) )
        return {};
    float depth = 1;
    glReadPixels( x, y, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &depth );
    return depth < 1 ? std::optional( camera_.unproject( position, depth ) ) : std::nullopt;
}

} // namespace VX
