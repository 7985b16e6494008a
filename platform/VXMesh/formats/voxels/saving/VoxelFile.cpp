#include <VXMesh/formats/voxels/saving/VoxelFile.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/WriteAll.h>
#include <VXMesh/volume/VoxelView.h>

#include <bit>
#include <cerrno>
#include <system_error>
#include <vector>

#include <unistd.h>
#include <zlib.h>

namespace VX
{
namespace
{

static_assert( std::endian::native == std::endian::little, "voxels are written as they lie in memory" );

using Error = tl::unexpected<std::string>;

} // namespace

/// A stream of gzip.
class VoxelFile::Packer
{
public:
    Packer()
        : out_( size_t( 256 ) << 10 )
    {
        // Twice as fast as the usual level, and a twentieth larger.
        constexpr int cLevel = 3, cMemory = 8, cGzip = 16;
        isReady_ =
            ::deflateInit2( &stream_, cLevel, Z_DEFLATED, MAX_WBITS + cGzip, cMemory, Z_DEFAULT_STRATEGY ) == Z_OK;
    }
    ~Packer()
    {
        if ( isReady_ )
            ::deflateEnd( &stream_ );
    }
    Packer( const Packer& ) = delete;
    Packer& operator=( const Packer& ) = delete;

    /// Hands what is packed to `put`, which may fail.
    template <typename Put>
    tl::expected<void, std::string> pack( std::span<const std::byte> bytes, bool isLast, const Put& put )
    {
        constexpr size_t cMostIn = size_t( 1 ) << 30;
        if ( !isReady_ )
            return Error( "There is not enough memory to pack the file" );
        do
        {
            const auto part = bytes.first( std::min( bytes.size(), cMostIn ) );
            bytes = bytes.subspan( part.size() );
            stream_.next_in = const_cast<Bytef*>( reinterpret_cast<const Bytef*>( part.data() ) );
            stream_.avail_in = uInt( part.size() );
            do
            {
                stream_.next_out = reinterpret_cast<Bytef*>( out_.data() );
                stream_.avail_out = uInt( out_.size() );
                (void)::deflate( &stream_, isLast && bytes.empty() ? Z_FINISH : Z_NO_FLUSH );
                if ( auto done = put( std::span( out_ ).first( out_.size() - stream_.avail_out ) ); !done )
                    return done;
            } while ( stream_.avail_out == 0 );
        } while ( !bytes.empty() );
        return {};
    }

private:
    std::vector<std::byte> out_;
    z_stream stream_{};
    bool isReady_ = false;
};

tl::expected<VoxelFile, std::string> VoxelFile::create( const std::filesystem::path& file, bool isPacked )
{
    auto temporary = TemporaryFile::createFor( file, 0666 );
    if ( !temporary )
        return Error( "Cannot write \"" + utf8string( file ) + "\": " + temporary.error().message() );
    VoxelFile out( std::move( *temporary ), file );
    if ( isPacked )
        out.packer_ = std::make_unique<Packer>();
    return out;
}

VoxelFile::VoxelFile( TemporaryFile temporary, const std::filesystem::path& file )
    : temporary_( std::move( temporary ) )
    , file_( file )
{
}

VoxelFile::VoxelFile( VoxelFile&& ) noexcept = default;
VoxelFile::~VoxelFile() = default;

std::string VoxelFile::failure_( int error ) const
{
    return "Cannot write \"" + utf8string( file_ ) + "\": " + std::generic_category().message( error );
}

tl::expected<void, std::string> VoxelFile::put_( std::span<const std::byte> bytes )
{
    if ( const int error = writeAll( temporary_.descriptor(), bytes ) )
        return Error( failure_( error ) );
    return {};
}

tl::expected<void, std::string> VoxelFile::write( std::span<const std::byte> bytes )
{
    if ( packer_ )
        return packer_->pack( bytes, false, [this]( auto packed ) { return put_( packed ); } );
    return put_( bytes );
}

tl::expected<void, std::string> VoxelFile::write( const std::string& bytes )
{
    return write( std::as_bytes( std::span( bytes ) ) );
}

tl::expected<void, std::string> VoxelFile::writeVoxels( const Volume& volume, const ProgressCallback& progress,
    const std::function<tl::expected<void, std::string>( int slice )>& before )
{
    const auto [nx, ny, nz] = volume.size();
    const size_t row = size_t( nx ) * sizeOf( volume.type() );
    // A slice at a time, unless slices are so large that a part of one is enough.
    constexpr size_t cMostAtOnce = size_t( 16 ) << 20;
    const int rows = int( std::clamp<size_t>( cMostAtOnce / row, 1, size_t( ny ) ) );
    std::vector<std::byte> buffer( size_t( rows ) * row );
    for ( int z = 0; z < nz; ++z )
    {
        if ( !reportProgress( progress, float( z ) / float( nz ) ) )
            return Error( cOperationCanceled );
        if ( before )
            if ( auto done = before( z ); !done )
                return done;
        for ( int y = 0; y < ny; y += rows )
        {
            const int count = std::min( rows, ny - y );
            visit( volume,
                [&]<typename T>( const VoxelView<T>& voxels )
                {
                    for ( int i = 0; i < count; ++i )
                        voxels.copyRow( 0, y + i, z,
                            { reinterpret_cast<T*>( buffer.data() + size_t( i ) * row ), size_t( volume.size()[0] ) } );
                } );
            if ( auto done = write( std::span( buffer ).first( size_t( count ) * row ) ); !done )
                return done;
        }
    }
    return {};
}

tl::expected<void, std::string> VoxelFile::finish()
{
    if ( packer_ )
        if ( auto done = packer_->pack( {}, true, [this]( auto packed ) { return put_( packed ); } ); !done )
            return done;
    if ( ::fsync( temporary_.descriptor() ) != 0 )
        return Error( failure_( errno ) );
    if ( const auto error = temporary_.moveTo( file_ ) )
        return Error( failure_( error.value() ) );
    return {};
}

} // namespace VX
