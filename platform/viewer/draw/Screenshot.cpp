#include <VXViewer/draw/Screenshot.h>

#include <VXMesh/io/AtomicFile.h>

#include <epoxy/gl.h>
#include <stb/stb_image_write.h>

#include <algorithm>

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
    std::string png;
    const auto append = []( void* out, void* data, int size )
    { static_cast<std::string*>( out )->append( static_cast<const char*>( data ), size_t( size ) ); };
    if ( !stbi_write_png_to_func( append, &png, image.width, image.height, 3, image.pixels.data(), image.width * 3 ) )
        return tl::unexpected( std::string( "The picture cannot be encoded" ) );
    return writeFileAtomically( file, png );
}

} // namespace VX
