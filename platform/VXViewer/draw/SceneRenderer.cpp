#include <VXViewer/draw/SceneRenderer.h>

#include <VXViewer/draw/DrawnColors.h>
#include <VXViewer/gl/Shaders.h>

#include <cmath>

namespace VX
{
namespace
{

// Round-off keeps some edges behind even a surface that has stepped back; this brings them to the front.
constexpr float cEdgePull = 4e-5f;

void setMatrix( const GlProgram& program, const char* name, const Matrix4f& matrix )
{
    glUniformMatrix4fv( program.uniform( name ), 1, GL_FALSE, matrix.m.data() );
}

/// Normals turn by the inverse transpose.
void setNormalMatrix( GLint location, const Matrix3f& toView )
{
    const Matrix3f n = toView.inverse();
    const float columns[9] = { n.x.x, n.x.y, n.x.z, n.y.x, n.y.y, n.y.z, n.z.x, n.z.y, n.z.z };
    glUniformMatrix3fv( location, 1, GL_FALSE, columns );
}

void setColor( GLint location, Color c, float alpha )
{
    glUniform4f( location, float( c.r ) / 255, float( c.g ) / 255, float( c.b ) / 255, alpha );
}

void setHighlight( GLint location, const VisualObject* object, const DrawSettings& settings, float strength )
{
    const bool marked = settings.marks && object->isSelected();
    setColor( location, tintFor( object->color(), settings.highlight ), marked ? strength : 0.f );
}

void setBlending( bool on )
{
    glBlendFuncSeparate( GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA );
    ( on ? glEnable : glDisable )( GL_BLEND );
    glDepthMask( on ? GL_FALSE : GL_TRUE );
}

/// Pixels between the ends of a mesh's edges, on average.
float edgePixels( const Camera& camera, const GpuGeometry& gpu, const Box3f& box, const AffineXf3f& toView )
{
    const Matrix4f m = camera.projection();
    const float z = toView( box.center() ).z;
    const float w = std::max( m.at( 3, 2 ) * z + m.at( 3, 3 ), 1e-20f );
    const float length = gpu.edgeLength * std::cbrt( std::abs( toView.A.determinant() ) );
    return length * m.at( 1, 1 ) * float( camera.height() ) / 2 / w;
}

void drawCoarse( GpuGeometry& gpu )
{
    glBindVertexArray( gpu.coarse.get() );
    glDrawElements( GL_TRIANGLES, gpu.coarseIndexCount, GL_UNSIGNED_INT, nullptr );
}

void drawGeometry( GpuGeometry& gpu )
{
    glBindVertexArray( gpu.vertices.get() );
    if ( gpu.indexCount > 0 )
        glDrawElements( gpu.mode, gpu.indexCount, GL_UNSIGNED_INT, nullptr );
    else
        glDrawArrays( gpu.mode, 0, gpu.vertexCount );
}

void drawTriangles( GpuGeometry& gpu, bool coarse )
{
    if ( coarse && gpu.coarseIndexCount > 0 )
        drawCoarse( gpu );
    else
        drawGeometry( gpu );
}

void drawLines( GpuGeometry& gpu, bool coarse, const LineLook& look, GLint opacity )
{
    if ( look.hidesBehind )
    {
        glColorMask( GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE );
        setBlending( false );
        drawTriangles( gpu, coarse );
        glColorMask( GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE );
    }
    glUniform1f( opacity, look.opacity );
    glPolygonMode( GL_FRONT_AND_BACK, look.filled ? GL_FILL : GL_LINE );
    setBlending( look.hidesBehind );
    glDepthFunc( GL_LEQUAL );
    drawTriangles( gpu, coarse );
    glDepthFunc( GL_LESS );
    glPolygonMode( GL_FRONT_AND_BACK, GL_FILL );
}

} // namespace

void SceneRenderer::createPrograms_()
{
    if ( surface_ )
        return;
    surface_ = GlProgram( Shaders::cSurfaceVertex, Shaders::cSurfaceFragment );
    plain_ = GlProgram( Shaders::cPlainVertex, Shaders::cPlainFragment );
    background_ = GlProgram( Shaders::cBackgroundVertex, Shaders::cBackgroundFragment );
}

void SceneRenderer::noteSize_( const Box3d& box )
{
    const double diagonal = box.diagonal();
    if ( diagonal > 0 && ( smallestDiagonal_ == 0 || diagonal < smallestDiagonal_ ) )
        smallestDiagonal_ = diagonal;
}

void SceneRenderer::collect_( Object& object, const AffineXf3d& xf, std::vector<SliceDrawing::Item>& volumes )
{
    if ( !object.isVisible() )
        return;
    Item item{ dynamic_cast<VisualObject*>( &object ), nullptr, xf };
    if ( auto* mesh = dynamic_cast<ObjectMesh*>( &object ); mesh && mesh->mesh() )
    {
        item.gpu = &cache_.get( mesh->mesh() );
        triangleCount_ += mesh->mesh()->triangles.size();
    }
    else if ( auto* points = dynamic_cast<ObjectPoints*>( &object ); points && points->points() )
        item.gpu = &cache_.get( points->points() );
    else if ( auto* lines = dynamic_cast<ObjectLines*>( &object ); lines && lines->lines() )
        item.gpu = &cache_.get( lines->lines() );
    else if ( auto* volume = dynamic_cast<ObjectVolume*>( &object );
        volume && volume->volume() && !volume->volume()->empty() )
    {
        volumes.push_back( { volume, xf } );
        noteSize_( xf( object.localBox() ) );
    }
    if ( item.gpu )
    {
        items_.push_back( item );
        noteSize_( xf( object.localBox() ) );
    }
    for ( const auto& child : object.children() )
        collect_( *child, xf * child->xf(), volumes );
}

void SceneRenderer::setScene( Object& root )
{
    items_.clear();
    triangleCount_ = 0;
    smallestDiagonal_ = 0;
    cache_.prune();
    std::vector<SliceDrawing::Item> volumes;
    collect_( root, root.xf(), volumes );
    slices_.setItems( std::move( volumes ) );
}

void SceneRenderer::drawBackground_( const DrawSettings& settings )
{
    if ( !settings.background )
    {
        glClearColor( 0, 0, 0, 0 );
        glClear( GL_COLOR_BUFFER_BIT );
        return;
    }
    glDisable( GL_DEPTH_TEST );
    background_.use();
    const auto set = [&]( const char* name, Color c )
    { glUniform3f( background_.uniform( name ), float( c.r ) / 255, float( c.g ) / 255, float( c.b ) / 255 ); };
    set( "top", settings.backgroundTop );
    set( "bottom", settings.backgroundBottom );
    glBindVertexArray( empty_.get() );
    glDrawArrays( GL_TRIANGLES, 0, 3 );
}

void SceneRenderer::beginSurfaces_( const Camera& camera )
{
    surface_.use();
    setMatrix( surface_, "projection", camera.projection() );
    const Vector3f up = camera.rotation() * Vector3f{ 0, 0, 1 };
    glUniform3f( surface_.uniform( "up" ), up.x, up.y, up.z );
    glUniform1i( surface_.uniform( "orthographic" ), camera.isOrthographic() );
}

void SceneRenderer::addCoarse_()
{
    for ( const auto& item : items_ )
        if ( !item.gpu->coarseIsMade && item.gpu->mode == GL_TRIANGLES )
            if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( item.object ) )
                cache_.addCoarse( mesh->mesh() );
}

void SceneRenderer::drawSurfaces_( const Camera& camera, const DrawSettings& settings, bool transparent, bool coarse )
{
    beginSurfaces_( camera );
    const GLint toView = surface_.uniform( "toView" ), normalToView = surface_.uniform( "normalToView" );
    const GLint color = surface_.uniform( "color" ), highlight = surface_.uniform( "highlight" );
    const GLint flat = surface_.uniform( "flatShading" ), useColor = surface_.uniform( "useVertexColor" );
    const GLint opacity = surface_.uniform( "opacity" );
    glUniform1i( surface_.uniform( "lines" ), settings.wireframe );
    for ( const auto& item : items_ )
    {
        const Color own = item.object->color();
        if ( item.gpu->mode != GL_TRIANGLES || ( own.a < 255 ) != transparent )
            continue;
        const AffineXf3f xf = camera.toView( item.xf );
        glUniformMatrix4fv( toView, 1, GL_FALSE, Matrix4f::from( xf ).m.data() );
        setNormalMatrix( normalToView, xf.A );
        setColor( color, own, float( own.a ) / 255 );
        setHighlight( highlight, item.object, settings, 0.55f );
        glUniform1i( flat, settings.shading == Shading::Flat ||
                               ( settings.shading == Shading::Automatic && !item.gpu->hasOwnNormals ) );
        glUniform1i( useColor, item.gpu->hasColors );
        if ( settings.wireframe )
        {
            const float pixels = edgePixels( camera, *item.gpu, item.object->localBox(), xf );
            drawLines( *item.gpu, coarse, lineLook( pixels ), opacity );
            continue;
        }
        glUniform1f( opacity, float( own.a ) / 255 );
        setBlending( transparent );
        drawTriangles( *item.gpu, coarse );
    }
    setBlending( false );
}

void SceneRenderer::drawEdges_( const Camera& camera, const DrawSettings& settings )
{
    plain_.use();
    setMatrix( plain_, "projection", camera.projection() );
    glUniform1f( plain_.uniform( "pull" ), cEdgePull );
    glUniform1i( plain_.uniform( "useVertexColor" ), 0 );
    const GLint toView = plain_.uniform( "toView" ), color = plain_.uniform( "color" ),
                highlight = plain_.uniform( "highlight" );
    for ( const auto& item : items_ )
    {
        if ( item.gpu->edgeIndexCount == 0 )
            continue;
        glUniformMatrix4fv( toView, 1, GL_FALSE, Matrix4f::from( camera.toView( item.xf ) ).m.data() );
        setColor( color, darker( item.object->color(), 0.22f ), 1 );
        setHighlight( highlight, item.object, settings, 0.8f );
        glBindVertexArray( item.gpu->edges.get() );
        glDrawElements( GL_LINES, item.gpu->edgeIndexCount, GL_UNSIGNED_INT, nullptr );
    }
}

void SceneRenderer::drawPlain_( const Camera& camera, const DrawSettings& settings )
{
    plain_.use();
    setMatrix( plain_, "projection", camera.projection() );
    glUniform1f( plain_.uniform( "pull" ), 0 );
    glUniform1f( plain_.uniform( "pointSize" ), settings.pointSize );
    for ( const auto& item : items_ )
    {
        if ( item.gpu->mode == GL_TRIANGLES )
            continue;
        setMatrix( plain_, "toView", Matrix4f::from( camera.toView( item.xf ) ) );
        setColor( plain_.uniform( "color" ), item.object->color(), 1 );
        setHighlight( plain_.uniform( "highlight" ), item.object, settings, 0.8f );
        glUniform1i( plain_.uniform( "useVertexColor" ), item.gpu->hasColors );
        drawGeometry( *item.gpu );
    }
}

void SceneRenderer::drawShadedOverlays_( const Camera& camera )
{
    beginSurfaces_( camera );
    glUniform1i( surface_.uniform( "lines" ), 0 );
    glUniform1f( surface_.uniform( "opacity" ), 1 );
    for ( const auto& overlay : overlays_ )
    {
        if ( !overlay.shaded )
            continue;
        auto& gpu = cache_.get( overlay.mesh );
        const AffineXf3f xf = camera.toView( overlay.xf );
        setMatrix( surface_, "toView", Matrix4f::from( xf ) );
        setNormalMatrix( surface_.uniform( "normalToView" ), xf.A );
        setColor( surface_.uniform( "color" ), overlay.color, 1 );
        setColor( surface_.uniform( "highlight" ), overlay.color, 0 );
        glUniform1i( surface_.uniform( "flatShading" ), !gpu.hasOwnNormals );
        glUniform1i( surface_.uniform( "useVertexColor" ), 0 );
        drawGeometry( gpu );
    }
}

void SceneRenderer::drawOverlays_( const Camera& camera )
{
    if ( overlays_.empty() )
        return;
    drawShadedOverlays_( camera );
    plain_.use();
    setMatrix( plain_, "projection", camera.projection() );
    glUniform1f( plain_.uniform( "pull" ), cEdgePull );
    glUniform1i( plain_.uniform( "useVertexColor" ), 0 );
    for ( const auto& overlay : overlays_ )
    {
        auto& gpu = cache_.get( overlay.mesh );
        setMatrix( plain_, "toView", Matrix4f::from( camera.toView( overlay.xf ) ) );
        setColor( plain_.uniform( "highlight" ), overlay.color, 0 );
        if ( !overlay.shaded )
        {
            setColor( plain_.uniform( "color" ), overlay.color, 1 );
            drawGeometry( gpu );
        }
        else if ( gpu.edgeIndexCount > 0 )
        {
            setColor( plain_.uniform( "color" ), darker( overlay.color, 0.3f ), 1 );
            glBindVertexArray( gpu.edges.get() );
            glDrawElements( GL_LINES, gpu.edgeIndexCount, GL_UNSIGNED_INT, nullptr );
        }
    }
}

void SceneRenderer::draw( const Camera& camera, const DrawSettings& settings, bool coarse )
{
    createPrograms_();
    if ( coarse )
        addCoarse_();
    glClearDepth( 1 );
    glClear( GL_DEPTH_BUFFER_BIT );
    drawBackground_( settings );
    glEnable( GL_DEPTH_TEST );
    glEnable( GL_PROGRAM_POINT_SIZE );
    glLineWidth( settings.lineWidth );
    // Edges lie exactly in the surfaces, which therefore step back by their slope in depth.
    glEnable( GL_POLYGON_OFFSET_FILL );
    glPolygonOffset( 1, 1 );
    drawSurfaces_( camera, settings, false, coarse );
    slices_.drawPictures( camera );
    glDisable( GL_POLYGON_OFFSET_FILL );
    slices_.drawFrames( camera, settings );
    drawPlain_( camera, settings );
    if ( settings.marks )
        drawOverlays_( camera );
    if ( settings.edges && !coarse )
        drawEdges_( camera, settings );
    drawSurfaces_( camera, settings, true, coarse );
    glBindVertexArray( 0 );
}

void SceneRenderer::drawIds( const Camera& camera )
{
    if ( !ids_ )
        ids_ = GlProgram( Shaders::cPlainVertex, Shaders::cIdFragment );
    glEnable( GL_DEPTH_TEST );
    glEnable( GL_PROGRAM_POINT_SIZE );
    ids_.use();
    setMatrix( ids_, "projection", camera.projection() );
    glUniform1f( ids_.uniform( "pull" ), 0 );
    // Larger than drawn, so that a lone point can be hit.
    glUniform1f( ids_.uniform( "pointSize" ), 9 );
    const GLint toView = ids_.uniform( "toView" ), id = ids_.uniform( "id" );
    for ( size_t i = 0; i < items_.size(); ++i )
    {
        glUniformMatrix4fv( toView, 1, GL_FALSE, Matrix4f::from( camera.toView( items_[i].xf ) ).m.data() );
        glUniform1ui( id, GLuint( i + 1 ) );
        drawGeometry( *items_[i].gpu );
    }
    slices_.drawIds( camera, GLuint( items_.size() + 1 ) );
    glBindVertexArray( 0 );
}

} // namespace VX
