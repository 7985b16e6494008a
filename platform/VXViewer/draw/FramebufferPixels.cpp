#include <VXViewer/draw/FramebufferPixels.h>

#include <algorithm>

namespace VX
{
namespace
{

void turnOver( Image& image )
{
    const size_t row = size_t( image.width ) * size_t( image.channels );
    for ( size_t top = 0, end = size_t( image.height ); top + 1 < end; ++top, --end )
        std::swap_ranges( image.pixels.begin() + long( top * row ), image.pixels.begin() + long( ( top + 1 ) * row ),
            image.pixels.begin() + long( ( end - 1 ) * row ) );
}

void divideByAlpha( std::vector<uint8_t>& pixels )
{
    for ( size_t i = 0; i + 3 < pixels.size(); i += 4 )
    {
        const unsigned alpha = pixels[i + 3];
        if ( alpha == 0 || alpha == 255 )
            continue;
        for ( size_t k = i; k < i + 3; ++k )
            pixels[k] = uint8_t( std::min( ( pixels[k] * 255u + alpha / 2 ) / alpha, 255u ) );
    }
}

} // namespace

void makePicture( Image& framebuffer )
{
    turnOver( framebuffer );
    if ( framebuffer.channels == 4 )
        divideByAlpha( framebuffer.pixels );
}

} // namespace VX
