#include <VXViewer/gl/GlObjects.h>

#include <spdlog/spdlog.h>

namespace VX
{
namespace
{

GLuint compile( GLenum kind, const char* source )
{
    const GLuint shader = glCreateShader( kind );
    glShaderSource( shader, 1, &source, nullptr );
    glCompileShader( shader );
    GLint ok = 0;
    glGetShaderiv( shader, GL_COMPILE_STATUS, &ok );
    if ( !ok )
    {
        char log[2048] = {};
        glGetShaderInfoLog( shader, sizeof log, nullptr, log );
        spdlog::error( "A shader does not compile: {}", log );
    }
    return shader;
}

} // namespace

GlProgram::GlProgram( const char* vertex, const char* fragment )
    : id_( glCreateProgram() )
{
    const GLuint shaders[] = { compile( GL_VERTEX_SHADER, vertex ), compile( GL_FRAGMENT_SHADER, fragment ) };
    for ( const GLuint shader : shaders )
        glAttachShader( id_, shader );
    glLinkProgram( id_ );
    for ( const GLuint shader : shaders )
        glDeleteShader( shader );
    GLint ok = 0;
    glGetProgramiv( id_, GL_LINK_STATUS, &ok );
    if ( !ok )
        spdlog::error( "A shader program does not link" );
    readUniforms_();
}

void GlProgram::readUniforms_()
{
    GLint count = 0;
    glGetProgramiv( id_, GL_ACTIVE_UNIFORMS, &count );
    for ( GLint i = 0; i < count; ++i )
    {
        char name[64] = {};
        GLint size = 0;
        GLenum type = 0;
        glGetActiveUniform( id_, GLuint( i ), sizeof name, nullptr, &size, &type, name );
        uniforms_.emplace_back( name, glGetUniformLocation( id_, name ) );
    }
}

GLint GlProgram::uniform( std::string_view name ) const
{
    for ( const auto& [known, location] : uniforms_ )
        if ( known == name )
            return location;
    return -1;
}

GlProgram::~GlProgram()
{
    if ( id_ )
        glDeleteProgram( id_ );
}

} // namespace VX
