#include <VXViewer/draw/Screenshot.h>

#include <VXMesh/io/AtomicFile.h>

#include <epoxy/gl.h>
#include <spng.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <span>

namespace VX
{

Image readFramebuffer( unsigned framebuffer, int width, int height )
{
    Image image{ width, height, std::vector<uint8_t>( size_t( width ) * size_t( height ) * 3 ) };
    glBindFramebuffer( GL_READ_FRAMEBUFFER, framebuffer );
    glPixelStorei( GL_PACK_ALIGNMENT, 1 );
    glReadPixels( 0, 0, width, height, GL_RGB, GL_UNSIGNED_BYTE, image.pixels.data() );
    const size_t row = size_t( width ) * 3;
    for ( size_t top = 0, bottom = size_t( height ) - 1; top < bottom; ++top, --bottom )
        std::swap_ranges( image.pixels.begin() + long( top * row ), image.pixels.begin() + long( ( top + 1 ) * row ),
            image.pixels.begin() + long( bottom * row ) );
    return image;
}

tl::expected<void, std::string> savePng( const std::filesystem::path& file, const Image& image )
{
    // Pictures of the scene are smooth or of one colour: packing finds that by itself, sooner and better than with the
    // filters of the format.
    constexpr int cFastLevel = 3;
    const std::unique_ptr<spng_ctx, void ( * )( spng_ctx* )> png( spng_ctx_new( SPNG_CTX_ENCODER ), spng_ctx_free );
    spng_ihdr header{ uint32_t( image.width ), uint32_t( image.height ), 8, SPNG_COLOR_TYPE_TRUECOLOR, 0, 0, 0 };
    spng_set_option( png.get(), SPNG_ENCODE_TO_BUFFER, 1 );
    spng_set_option( png.get(), SPNG_IMG_COMPRESSION_LEVEL, cFastLevel );
    spng_set_option( png.get(), SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_NONE );
    int error = spng_set_ihdr( png.get(), &header );
    if ( error == 0 )
        error = spng_encode_image(
            png.get(), image.pixels.data(), image.pixels.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE );
    size_t size = 0;
    const std::unique_ptr<void, void ( * )( void* )> bytes(
        error == 0 ? spng_get_png_buffer( png.get(), &size, &error ) : nullptr, std::free );
    if ( !bytes )
        return tl::unexpected( std::string( "The picture cannot be encoded: " ) + spng_strerror( error ) );
    const std::span<const std::byte> part( static_cast<const std::byte*>( bytes.get() ), size );
    return writeFileAtomically( file, { &part, 1 } );
}

} // namespace VX
