#pragma once

#include <epoxy/gl.h>
#include <tl/expected.hpp>

#include <cstddef>
#include <string>
#include <utility>

namespace VX
{

/// Owner of one OpenGL name; movable. Needs the context that made it to be current when it goes.
template <auto& Create, auto& Delete>
class GlName
{
public:
    GlName() = default;
    GlName( GlName&& other ) noexcept
        : id_( std::exchange( other.id_, 0 ) )
    {
    }
    GlName& operator=( GlName&& other ) noexcept
    {
        std::swap( id_, other.id_ );
        return *this;
    }
    GlName( const GlName& ) = delete;
    GlName& operator=( const GlName& ) = delete;
    ~GlName()
    {
        if ( id_ )
            Delete( 1, &id_ );
    }

    /// The name, made at the first call.
    GLuint get()
    {
        if ( !id_ )
            Create( 1, &id_ );
        return id_;
    }
    explicit operator bool() const { return id_ != 0; }

private:
    GLuint id_ = 0;
};

using GlBuffer = GlName<glGenBuffers, glDeleteBuffers>;
using GlVertexArray = GlName<glGenVertexArrays, glDeleteVertexArrays>;
using GlFramebuffer = GlName<glGenFramebuffers, glDeleteFramebuffers>;
using GlRenderbuffer = GlName<glGenRenderbuffers, glDeleteRenderbuffers>;
using GlTexture = GlName<glGenTextures, glDeleteTextures>;

/// A linked pair of shaders.
class GlProgram
{
public:
    GlProgram() = default;
    /// Compiles and links; a failure of our own shaders is a programming error and is logged with the driver's text.
    GlProgram( const char* vertex, const char* fragment );
    GlProgram( GlProgram&& other ) noexcept
        : id_( std::exchange( other.id_, 0 ) )
    {
    }
    GlProgram& operator=( GlProgram&& other ) noexcept
    {
        std::swap( id_, other.id_ );
        return *this;
    }
    ~GlProgram();

    void use() const { glUseProgram( id_ ); }
    [[nodiscard]] GLint uniform( const char* name ) const { return glGetUniformLocation( id_, name ); }
    explicit operator bool() const { return id_ != 0; }

private:
    GLuint id_ = 0;
};

} // namespace VX
