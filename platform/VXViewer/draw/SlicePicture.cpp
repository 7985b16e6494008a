#include <VXViewer/draw/SlicePicture.h>

#include <VXMesh/volume/VolumeStatistics.h>

namespace VX
{

GLuint SlicePicture::get( const std::shared_ptr<const Volume>& volume, SliceDirection direction, int index )
{
    if ( !volume || volume->empty() )
        return 0;
    if ( volume_.lock() != volume || direction_ != direction || index_ != index )
    {
        volume_ = volume;
        direction_ = direction;
        index_ = index;
        sample_( *volume, direction, index );
        upload_( windowOf( *volume ) );
    }
    return texture_.get();
}

void SlicePicture::sample_( const Volume& volume, SliceDirection direction, int index )
{
    plane_ = OrientedSlice::of( volume.grid(), direction ).plane( volume.grid(), index );
    values_.resize( plane_.pixelCount() );
    sampleSlice( volume, plane_, values_, { .interpolation = Interpolation::Nearest } );
}

void SlicePicture::upload_( const VolumeWindow& window )
{
    std::vector<uint8_t> grey( values_.size() );
    toGrey( values_, window, grey );
    glBindTexture( GL_TEXTURE_2D, texture_.get() );
    glPixelStorei( GL_UNPACK_ALIGNMENT, 1 );
    if ( width_ != plane_.width || height_ != plane_.height )
    {
        width_ = plane_.width;
        height_ = plane_.height;
        for ( const GLenum filter : { GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER } )
            glTexParameteri( GL_TEXTURE_2D, filter, GL_LINEAR );
        for ( const GLenum wrap : { GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T } )
            glTexParameteri( GL_TEXTURE_2D, wrap, GL_CLAMP_TO_EDGE );
        for ( const GLenum channel : { GL_TEXTURE_SWIZZLE_G, GL_TEXTURE_SWIZZLE_B } )
            glTexParameteri( GL_TEXTURE_2D, channel, GL_RED );
        glTexImage2D( GL_TEXTURE_2D, 0, GL_R8, width_, height_, 0, GL_RED, GL_UNSIGNED_BYTE, grey.data() );
    }
    else
        glTexSubImage2D( GL_TEXTURE_2D, 0, 0, 0, width_, height_, GL_RED, GL_UNSIGNED_BYTE, grey.data() );
    glPixelStorei( GL_UNPACK_ALIGNMENT, 4 );
    glBindTexture( GL_TEXTURE_2D, 0 );
}

} // namespace VX
