#include <VXViewer/gl/PictureCopy.h>

#include <VXViewer/gl/Shaders.h>

namespace VX
{

void PictureCopy::draw( GLuint texture, int samples )
{
    auto& program = samples > 0 ? averaging_ : plain_;
    if ( !program )
        program = GlProgram( Shaders::cCopyVertex, samples > 0 ? Shaders::cAveragingFragment : Shaders::cCopyFragment );
    program.use();
    glActiveTexture( GL_TEXTURE0 );
    glBindTexture( samples > 0 ? GL_TEXTURE_2D_MULTISAMPLE : GL_TEXTURE_2D, texture );
    if ( samples > 0 )
        glUniform1i( program.uniform( "samples" ), samples );
    glDisable( GL_DEPTH_TEST );
    glDisable( GL_BLEND );
    glDisable( GL_SCISSOR_TEST );
    glBindVertexArray( empty_.get() );
    glDrawArrays( GL_TRIANGLES, 0, 3 );
    glBindVertexArray( 0 );
}

} // namespace VX
