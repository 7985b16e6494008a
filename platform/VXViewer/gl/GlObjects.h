#pragma once

#include <epoxy/gl.h>
#include <tl/expected.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
        , uniforms_( std::move( other.uniforms_ ) )
    {
    }
    GlProgram& operator=( GlProgram&& other ) noexcept
    {
        std::swap( id_, other.id_ );
        std::swap( uniforms_, other.uniforms_ );
        return *this;
    }
    ~GlProgram();

    void use() const { glUseProgram( id_ ); }
    /// Location of a uniform, without asking the driver; -1 when the program has none of this name.
    [[nodiscard]] GLint uniform( std::string_view name ) const;
    explicit operator bool() const { return id_ != 0; }

private:
    void readUniforms_();

    GLuint id_ = 0;
    std::vector<std::pair<std::string, GLint>> uniforms_;
};

} // namespace VX
