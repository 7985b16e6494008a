#include <VXViewer/draw/Screenshot.h>

#include <VXMesh/io/AtomicFile.h>
#include <VXViewer/draw/FramebufferPixels.h>

#include <epoxy/gl.h>
#include <spng.h>

#include <cstdlib>
#include <memory>
#include <span>

namespace VX
{

Image readFramebuffer( unsigned framebuffer, int width, int height, bool transparent )
{
    const int channels = transparent ? 4 : 3;
    Image image{
        width, height, std::vector<uint8_t>( size_t( width ) * size_t( height ) * size_t( channels ) ), channels };
    glBindFramebuffer( GL_READ_FRAMEBUFFER, framebuffer );
    glPixelStorei( GL_PACK_ALIGNMENT, 1 );
    glReadPixels( 0, 0, width, height, transparent ? GL_RGBA : GL_RGB, GL_UNSIGNED_BYTE, image.pixels.data() );
    makePicture( image );
    return image;
}

tl::expected<void, std::string> savePng( const std::filesystem::path& file, const Image& image )
{
    // Pictures of the scene are smooth or of one colour: packing finds that by itself, sooner and better than with the
    // filters of the format.
    constexpr int cFastLevel = 3;
    const std::unique_ptr<spng_ctx, void ( * )( spng_ctx* )> png( spng_ctx_new( SPNG_CTX_ENCODER ), spng_ctx_free );
    const auto type = image.channels == 4 ? SPNG_COLOR_TYPE_TRUECOLOR_ALPHA : SPNG_COLOR_TYPE_TRUECOLOR;
    spng_ihdr header{ uint32_t( image.width ), uint32_t( image.height ), 8, uint8_t( type ), 0, 0, 0 };
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
