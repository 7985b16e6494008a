#include <VXViewer/ui/RibbonIcons.h>

#include <VXViewer/ui/ColorTheme.h>

#include <epoxy/gl.h>
#include <spng.h>
#define STB_IMAGE_RESIZE_STATIC
#define STB_IMAGE_RESIZE_IMPLEMENTATION
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image_resize.h>
#pragma GCC diagnostic pop

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace VX
{
namespace
{

constexpr int cTextureSide = 1024;
constexpr int cGap = 1;

using Key = std::tuple<std::string, int, RibbonIcons::ColorType>;
using Pixels = std::vector<uint8_t>;

/// One texture that is filled from the top by rows of drawings.
class Atlas
{
public:
    Atlas()
    {
        glGenTextures( 1, &texture_ );
        glBindTexture( GL_TEXTURE_2D, texture_ );
        glTexParameteri( GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR );
        glTexParameteri( GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR );
        glTexImage2D( GL_TEXTURE_2D, 0, GL_RGBA8, cTextureSide, cTextureSide, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr );
    }
    ~Atlas() { glDeleteTextures( 1, &texture_ ); }
    Atlas( const Atlas& ) = delete;
    Atlas& operator=( const Atlas& ) = delete;

    /// Nothing when the texture is full.
    std::optional<RibbonIcons::Icon> place( const Pixels& pixels, int side )
    {
        if ( x_ + side > cTextureSide )
        {
            x_ = 0;
            y_ += rowHeight_ + cGap;
            rowHeight_ = 0;
        }
        if ( x_ + side > cTextureSide || y_ + side > cTextureSide )
            return {};
        glBindTexture( GL_TEXTURE_2D, texture_ );
        glPixelStorei( GL_UNPACK_ALIGNMENT, 4 );
        glTexSubImage2D( GL_TEXTURE_2D, 0, x_, y_, side, side, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data() );
        const auto uv = []( int v ) { return float( v ) / cTextureSide; };
        // NOLINTNEXTLINE(performance-no-int-to-ptr): Dear ImGui keeps the texture's number in a pointer
        const RibbonIcons::Icon out{ reinterpret_cast<ImTextureID>( intptr_t( texture_ ) ), { uv( x_ ), uv( y_ ) },
            { uv( x_ + side ), uv( y_ + side ) } };
        x_ += side + cGap;
        rowHeight_ = std::max( rowHeight_, side );
        return out;
    }

private:
    GLuint texture_ = 0;
    int x_ = 0;
    int y_ = 0;
    int rowHeight_ = 0;
};

struct Store
{
    std::unordered_map<std::string, std::span<const std::byte>> files;
    std::map<Key, RibbonIcons::Icon, std::less<>> icons; ///< looked up without a copy of the name
    std::vector<std::unique_ptr<Atlas>> atlases;
};

Store& store()
{
    // Never destroyed: its textures go with the context, by clear().
    static auto* sStore = new Store;
    return *sStore;
}

/// The drawing's two channels, mixed from the theme's colours.
void paint( Pixels& pixels, RibbonIcons::ColorType colorType )
{
    const Color main = ColorTheme::getRibbonColor( ColorTheme::Icon );
    const Color accent = ColorTheme::getRibbonColor( ColorTheme::Accent );
    for ( size_t i = 0; i + 3 < pixels.size(); i += 4 )
    {
        const int red = pixels[i], green = pixels[i + 1], sum = std::max( red + green, 1 );
        const auto mix = [&]( uint8_t a, uint8_t b ) { return uint8_t( ( a * red + b * green ) / sum ); };
        const bool white = colorType == RibbonIcons::ColorType::White;
        pixels[i] = white ? 255 : mix( main.r, accent.r );
        pixels[i + 1] = white ? 255 : mix( main.g, accent.g );
        pixels[i + 2] = white ? 255 : mix( main.b, accent.b );
    }
}

/// A drawing as it was made, of four channels with straight alpha.
struct Drawing
{
    Pixels pixels;
    int width = 0;
    int height = 0;
};

std::optional<Drawing> decode( std::span<const std::byte> png )
{
    const std::unique_ptr<spng_ctx, void ( * )( spng_ctx* )> reader( spng_ctx_new( 0 ), spng_ctx_free );
    spng_ihdr header{};
    size_t size = 0;
    spng_set_image_limits( reader.get(), cTextureSide, cTextureSide );
    if ( spng_set_png_buffer( reader.get(), png.data(), png.size() ) != 0 ||
         spng_get_ihdr( reader.get(), &header ) != 0 ||
         spng_decoded_image_size( reader.get(), SPNG_FMT_RGBA8, &size ) != 0 )
        return {};
    Drawing out{ Pixels( size ), int( header.width ), int( header.height ) };
    if ( spng_decode_image( reader.get(), out.pixels.data(), size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS ) != 0 )
        return {};
    return out;
}

/// Each pixel the mean of four, weighted by their alpha.
Drawing halved( const Drawing& from )
{
    Drawing out{ {}, from.width / 2, from.height / 2 };
    out.pixels.resize( size_t( out.width ) * size_t( out.height ) * 4 );
    const size_t row = size_t( from.width ) * 4;
    for ( size_t y = 0; y < size_t( out.height ); ++y )
        for ( size_t x = 0; x < size_t( out.width ); ++x )
        {
            const uint8_t* first = from.pixels.data() + y * 2 * row + x * 8;
            const uint8_t* const four[] = { first, first + 4, first + row, first + row + 4 };
            uint8_t* to = out.pixels.data() + ( y * size_t( out.width ) + x ) * 4;
            const int alpha = four[0][3] + four[1][3] + four[2][3] + four[3][3];
            for ( int c = 0; c < 3 && alpha > 0; ++c )
            {
                const int sum = four[0][c] * four[0][3] + four[1][c] * four[1][3] + four[2][c] * four[2][3] +
                                four[3][c] * four[3][3];
                to[c] = uint8_t( ( sum + alpha / 2 ) / alpha );
            }
            to[3] = uint8_t( ( alpha + 2 ) / 4 );
        }
    return out;
}

std::optional<Pixels> render( std::span<const std::byte> png, int side, RibbonIcons::ColorType colorType )
{
    auto drawing = decode( png );
    // The filter's cost is that of what it reads, and twice the pixels are all that it can make use of.
    while ( drawing && std::min( drawing->width, drawing->height ) >= 4 * side )
        drawing = halved( *drawing );
    Pixels pixels( size_t( side ) * size_t( side ) * 4 );
    if ( !drawing ||
         !stbir_resize_uint8_generic( drawing->pixels.data(), drawing->width, drawing->height, 0, pixels.data(), side,
             side, 0, 4, 3, 0, STBIR_EDGE_ZERO, STBIR_FILTER_MITCHELL, STBIR_COLORSPACE_LINEAR, nullptr ) )
        return {};
    paint( pixels, colorType );
    return pixels;
}

std::optional<RibbonIcons::Icon> placeSomewhere( const Pixels& pixels, int side )
{
    auto& atlases = store().atlases;
    if ( !atlases.empty() )
        if ( const auto icon = atlases.back()->place( pixels, side ) )
            return icon;
    atlases.push_back( std::make_unique<Atlas>() );
    return atlases.back()->place( pixels, side );
}

} // namespace

std::optional<RibbonIcons::Icon> RibbonIcons::findByName(
    const std::string& name, float width, ColorType colorType, IconType )
{
    const int side = int( std::lround( width ) );
    if ( side <= 0 || side > cTextureSide )
        return {};
    const std::tuple<std::string_view, int, ColorType> key{ name, side, colorType };
    if ( const auto it = store().icons.find( key ); it != store().icons.end() )
        return it->second;
    const auto file = store().files.find( name );
    if ( file == store().files.end() )
        return {};
    const auto pixels = render( file->second, side, colorType );
    const auto icon = pixels ? placeSomewhere( *pixels, side ) : std::nullopt;
    if ( icon )
        store().icons.emplace( Key{ name, side, colorType }, *icon );
    return icon;
}

bool RibbonIcons::exists( const std::string& name )
{
    return store().files.contains( name );
}

void RibbonIcons::add( const std::string& name, std::span<const std::byte> png )
{
    store().files[name] = png;
    std::erase_if( store().icons, [&]( const auto& entry ) { return std::get<0>( entry.first ) == name; } );
}

void RibbonIcons::clear()
{
    store().icons.clear();
    store().atlases.clear();
}

} // namespace VX
