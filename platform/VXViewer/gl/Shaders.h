#pragma once

namespace VX::Shaders
{

inline constexpr const char* cSurfaceVertex = R"(#version 330 core
layout( location = 0 ) in vec3 position;
layout( location = 1 ) in vec3 normal;
layout( location = 2 ) in vec4 color;
uniform mat4 toView;
uniform mat3 normalToView;
uniform mat4 projection;
out vec3 viewPosition;
out vec3 viewNormal;
out vec4 vertexColor;
void main()
{
    vec4 p = toView * vec4( position, 1.0 );
    viewPosition = p.xyz;
    viewNormal = normalToView * normal;
    vertexColor = color;
    gl_Position = projection * p;
}
)";

// A key light from the upper left of the viewer, a weak one from the lower right, and a sky that is brighter than the
// ground: enough to read a shape from any side. The key light has the only highlight (Blinn-Phong).
inline constexpr const char* cSurfaceFragment = R"(#version 330 core
in vec3 viewPosition;
in vec3 viewNormal;
in vec4 vertexColor;
uniform vec4 color;
uniform vec4 highlight;
uniform vec3 up;
uniform bool flatShading;
uniform bool orthographic;
uniform bool useVertexColor;
uniform bool lines;
uniform float opacity;
out vec4 result;
void main()
{
    vec3 v = orthographic ? vec3( 0.0, 0.0, 1.0 ) : normalize( -viewPosition );
    // A line has no slope to tell a facet from. At length 1 first: of very small scenes the product would be nothing.
    vec3 facet = lines ? v : cross( normalize( dFdx( viewPosition ) ), normalize( dFdy( viewPosition ) ) );
    vec3 n = ( flatShading && !lines ) || dot( viewNormal, viewNormal ) < 1e-12 ? facet : viewNormal;
    n = normalize( n );
    if ( dot( n, v ) < 0.0 )
        n = -n;
    const vec3 keyLight = normalize( vec3( -0.45, 0.65, 0.75 ) );
    const vec3 fillLight = normalize( vec3( 0.8, -0.25, 0.45 ) );
    vec4 base = useVertexColor ? vertexColor : color;
    base.rgb = mix( base.rgb, highlight.rgb, highlight.a );
    float sky = 0.5 + 0.5 * dot( n, up );
    float light = mix( 0.30, 0.46, sky ) + 0.58 * max( dot( n, keyLight ), 0.0 ) + 0.16 * max( dot( n, fillLight ), 0.0 );
    float shine = pow( max( dot( n, normalize( keyLight + v ) ), 0.0 ), 42.0 );
    result = vec4( base.rgb * light + 0.16 * shine, opacity );
}
)";

inline constexpr const char* cPlainVertex = R"(#version 330 core
layout( location = 0 ) in vec3 position;
layout( location = 2 ) in vec4 color;
uniform mat4 toView;
uniform mat4 projection;
uniform float pull;
uniform float pointSize;
out vec4 vertexColor;
void main()
{
    gl_Position = projection * ( toView * vec4( position, 1.0 ) );
    gl_Position.z -= pull * gl_Position.w;
    gl_PointSize = pointSize;
    vertexColor = color;
}
)";

inline constexpr const char* cPlainFragment = R"(#version 330 core
in vec4 vertexColor;
uniform vec4 color;
uniform vec4 highlight;
uniform bool useVertexColor;
out vec4 result;
void main()
{
    vec4 base = useVertexColor ? vertexColor : color;
    result = vec4( mix( base.rgb, highlight.rgb, highlight.a ), 1.0 );
}
)";

inline constexpr const char* cBackgroundVertex = R"(#version 330 core
out vec2 place;
void main()
{
    place = vec2( gl_VertexID & 1, gl_VertexID >> 1 ) * 2.0;
    gl_Position = vec4( place * 2.0 - 1.0, 1.0, 1.0 );
}
)";

// The noise hides the bands that 8 bits make of a slow gradient; it is Jimenez' interleaved gradient noise, which needs
// no sine for each pixel.
inline constexpr const char* cBackgroundFragment = R"(#version 330 core
in vec2 place;
uniform vec3 top;
uniform vec3 bottom;
out vec4 result;
void main()
{
    float noise = fract( 52.9829189 * fract( dot( gl_FragCoord.xy, vec2( 0.06711056, 0.00583715 ) ) ) ) - 0.5;
    vec2 c = place - vec2( 0.5, 0.55 );
    vec3 color = mix( bottom, top, smoothstep( 0.0, 1.0, place.y ) ) * ( 1.06 - 0.32 * dot( c, c ) );
    result = vec4( color + noise / 255.0, 1.0 );
}
)";

inline constexpr const char* cCopyVertex = R"(#version 330 core
void main()
{
    gl_Position = vec4( vec2( gl_VertexID & 1, gl_VertexID >> 1 ) * 4.0 - 1.0, 0.0, 1.0 );
}
)";

inline constexpr const char* cCopyFragment = R"(#version 330 core
uniform sampler2D picture;
out vec4 result;
void main()
{
    result = texelFetch( picture, ivec2( gl_FragCoord.xy ), 0 );
}
)";

inline constexpr const char* cAveragingFragment = R"(#version 330 core
uniform sampler2DMS picture;
uniform int samples;
out vec4 result;
void main()
{
    vec4 sum = vec4( 0.0 );
    for ( int i = 0; i < samples; ++i )
        sum += texelFetch( picture, ivec2( gl_FragCoord.xy ), i );
    result = sum / float( samples );
}
)";

// A parallelogram without vertices of its own, to be drawn as a fan or a loop.
inline constexpr const char* cSliceVertex = R"(#version 330 core
uniform vec3 corner;
uniform vec3 right;
uniform vec3 down;
uniform mat4 toView;
uniform mat4 projection;
out vec2 place;
void main()
{
    place = vec2( gl_VertexID == 1 || gl_VertexID == 2, gl_VertexID >= 2 );
    gl_Position = projection * ( toView * vec4( corner + right * place.x + down * place.y, 1.0 ) );
}
)";

inline constexpr const char* cSliceFragment = R"(#version 330 core
in vec2 place;
uniform sampler2D picture;
out vec4 result;
void main()
{
    result = vec4( texture( picture, place ).rgb, 1.0 );
}
)";

inline constexpr const char* cSliceFrameFragment = R"(#version 330 core
uniform vec3 color;
out vec4 result;
void main()
{
    result = vec4( color, 1.0 );
}
)";

inline constexpr const char* cIdFragment = R"(#version 330 core
uniform uint id;
out uint result;
void main()
{
    result = id;
}
)";

} // namespace VX::Shaders
