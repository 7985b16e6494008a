#pragma once

#include <VXViewer/gl/GlObjects.h>

namespace VX
{

/// Copies a texture to the framebuffer that is bound, pixel for pixel, with a shader: software drivers compile one anew
/// for a blit of their own at every start of a program, but keep those of programs on disk. UI thread, with the
/// context.
class PictureCopy
{
public:
    /// Covers the viewport, whose size the texture has; a texture of several samples is averaged. Leaves the depth test
    /// and blending off.
    void draw( GLuint texture, int samples );

private:
    GlProgram plain_, averaging_;
    GlVertexArray empty_;
};

} // namespace VX
