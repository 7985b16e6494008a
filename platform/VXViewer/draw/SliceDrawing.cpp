#include <VXViewer/draw/SliceDrawing.h>

#include <VXViewer/draw/DrawnColors.h>
#include <VXViewer/gl/Shaders.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr GLsizei cCorners = 4;

void setVector( const GlProgram& program, const char* name, const Vector3d& value )
{
    glUniform3f( program.uniform( name ), float( value.x ), float( value.y ), float( value.z ) );
}

void setPlane( const GlProgram& program, const SlicePlane& plane )
{
    setVector( program, "corner", plane.at( -0.5, -0.5 ) );
    setVector( program, "right", plane.right * double( plane.width ) );
    setVector( program, "down", plane.down * double( plane.height ) );
}

} // namespace

Color colorOf( SliceDirection direction )
{
    switch ( direction )
    {
    case SliceDirection::Axial:
        return { 84, 148, 255, 255 };
    case SliceDirection::Coronal:
        return { 92, 190, 92, 255 };
    case SliceDirection::Sagittal:
        break;
    }
    return { 232, 90, 84, 255 };
}

void SliceDrawing::setItems( std::vector<Item> items )
{
    items_ = std::move( items );
    std::erase_if( pictures_,
        [&]( const auto& entry )
        {
            return std::none_of(
                items_.begin(), items_.end(), [&]( const Item& item ) { return item.object == entry.first; } );
        } );
}

template <typename Draw>
void SliceDrawing::forEachSlice_( const GlProgram& program, const Camera& camera, const Draw& draw )
{
    if ( items_.empty() )
        return;
    program.use();
    glUniformMatrix4fv( program.uniform( "projection" ), 1, GL_FALSE, camera.projection().m.data() );
    glBindVertexArray( empty_.get() );
    for ( size_t i = 0; i < items_.size(); ++i )
    {
        const auto& item = items_[i];
        const auto toView = Matrix4f::from( camera.toView( item.xf ) );
        glUniformMatrix4fv( program.uniform( "toView" ), 1, GL_FALSE, toView.m.data() );
        const auto& volume = item.object->volume();
        for ( size_t k = 0; k < cSliceDirections.size(); ++k )
        {
            auto& picture = pictures_[item.object][k];
            const auto across = OrientedSlice::of( volume->grid(), cSliceDirections[k] ).across;
            const GLuint texture = picture.get( volume, cSliceDirections[k], item.object->cursor()[across] );
            setPlane( program, picture.plane() );
            draw( i, cSliceDirections[k], texture );
        }
    }
}

void SliceDrawing::drawPictures( const Camera& camera )
{
    if ( !textured_ && !items_.empty() )
        textured_ = GlProgram( Shaders::cSliceVertex, Shaders::cSliceFragment );
    forEachSlice_( textured_, camera,
        []( size_t, SliceDirection, GLuint texture )
        {
            glBindTexture( GL_TEXTURE_2D, texture );
            glDrawArrays( GL_TRIANGLE_FAN, 0, cCorners );
        } );
    glBindTexture( GL_TEXTURE_2D, 0 );
}

void SliceDrawing::drawFrames( const Camera& camera, const DrawSettings& settings )
{
    if ( !plain_ && !items_.empty() )
        plain_ = GlProgram( Shaders::cSliceVertex, Shaders::cSliceFrameFragment );
    forEachSlice_( plain_, camera,
        [&]( size_t i, SliceDirection direction, GLuint )
        {
            const bool marked = settings.marks && items_[i].object->isSelected();
            const Color color = marked ? settings.highlight : colorOf( direction );
            glUniform3f(
                plain_.uniform( "color" ), float( color.r ) / 255, float( color.g ) / 255, float( color.b ) / 255 );
            glDrawArrays( GL_LINE_LOOP, 0, cCorners );
        } );
}

void SliceDrawing::drawIds( const Camera& camera, GLuint first )
{
    if ( !ids_ && !items_.empty() )
        ids_ = GlProgram( Shaders::cSliceVertex, Shaders::cIdFragment );
    forEachSlice_( ids_, camera,
        [&]( size_t i, SliceDirection, GLuint )
        {
            glUniform1ui( ids_.uniform( "id" ), first + GLuint( i ) );
            glDrawArrays( GL_TRIANGLE_FAN, 0, cCorners );
        } );
}

} // namespace VX
