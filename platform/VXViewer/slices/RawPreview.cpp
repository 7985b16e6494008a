#include <VXViewer/slices/RawPreview.h>

#include <VXMesh/volume/VolumeStatistics.h>
#include <VXMesh/volume/VolumeText.h>

#include <fmt/format.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr int cLongest = 1 << 20;

} // namespace

std::string describe( const RawVolume& raw )
{
    const auto order = sizeOf( raw.type ) == 1         ? ""
                       : raw.order == std::endian::big ? ", big endian"
                                                       : ", little endian";
    return fmt::format( "{}, {}{}", sizeText( raw.size ), nameOf( raw.type ), order );
}

RawPreview::RawPreview( std::filesystem::path file )
    : file_( std::move( file ) )
{
    std::error_code ec;
    const auto bytes = std::filesystem::file_size( file_, ec );
    fileBytes_ = ec ? 0 : bytes;
    guesses_ = guessRaw( file_, fileBytes_ ).candidates;
    describe( guesses_.empty() ? RawVolume{} : guesses_.front() );
    slice_ = raw_.size[2] / 2;
}

void RawPreview::describe( RawVolume raw )
{
    for ( int& one : raw.size )
        one = std::clamp( one, 1, cLongest );
    raw.headerBytes = std::min( raw.headerBytes, fileBytes_ );
    for ( double* one : { &raw.spacing.x, &raw.spacing.y, &raw.spacing.z } )
        *one = std::clamp( *one, 1e-6, 1e6 );
    if ( raw == raw_ )
        return;
    raw_ = raw;
    outdated_ = true;
    slice_ = std::clamp( slice_, 0, raw_.size[2] - 1 );
}

std::string RawPreview::problem() const
{
    const uint64_t wanted = raw_.fileBytes();
    if ( wanted == 0 )
        return "These are more voxels than can be opened";
    if ( wanted > fileBytes_ )
        return fmt::format( "The file is {} bytes too short", wanted - fileBytes_ );
    return {};
}

void RawPreview::look( int slice )
{
    const int held = std::clamp( slice, 0, raw_.size[2] - 1 );
    if ( held == slice_ )
        return;
    slice_ = held;
    outdated_ = true;
}

const std::shared_ptr<const Volume>& RawPreview::picture()
{
    if ( outdated_ )
        read_();
    outdated_ = false;
    return picture_;
}

void RawPreview::read_()
{
    picture_ = nullptr;
    if ( !problem().empty() )
        return;
    RawVolume one = raw_;
    one.size[2] = 1;
    one.headerBytes += uint64_t( slice_ ) * ( one.fileBytes() - raw_.headerBytes );
    const auto read = readRaw( file_, one );
    if ( !read )
        return;
    auto meaning = read->volume.meaning();
    meaning.window = windowOf( read->volume );
    picture_ = std::make_shared<Volume>( read->volume.with( std::move( meaning ) ) );
}

} // namespace VX
