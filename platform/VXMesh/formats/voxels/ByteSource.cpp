#include <VXMesh/formats/voxels/ByteSource.h>

#include <algorithm>
#include <cstring>

#include <zlib.h>

namespace VX
{
namespace
{

class PartsSource final : public ByteSource
{
public:
    explicit PartsSource( std::vector<FilePart> parts )
        : parts_( std::move( parts ) )
    {
    }

    tl::expected<size_t, std::string> read( std::span<std::byte> out ) override
    {
        size_t filled = 0;
        for ( ; filled < out.size() && part_ < parts_.size(); ++part_, done_ = 0 )
        {
            const auto left = parts_[part_].bytes().subspan( done_ );
            const size_t count = std::min( left.size(), out.size() - filled );
            std::copy_n( left.begin(), count, out.begin() + ptrdiff_t( filled ) );
            filled += count;
            done_ += count;
            if ( count < left.size() )
                break;
        }
        return filled;
    }

private:
    std::vector<FilePart> parts_;
    size_t part_ = 0, done_ = 0;
};

class InflatedSource final : public ByteSource
{
public:
    explicit InflatedSource( std::unique_ptr<ByteSource> packed )
        : packed_( std::move( packed ) )
        , input_( cInput )
    {
        // Either kind, told by its first bytes.
        constexpr int cEither = 32;
        isReady_ = ::inflateInit2( &stream_, MAX_WBITS + cEither ) == Z_OK;
    }
    ~InflatedSource() override
    {
        if ( isReady_ )
            ::inflateEnd( &stream_ );
    }
    InflatedSource( const InflatedSource& ) = delete;
    InflatedSource& operator=( const InflatedSource& ) = delete;

    tl::expected<size_t, std::string> read( std::span<std::byte> out ) override
    {
        if ( !isReady_ )
            return tl::unexpected( std::string( "There is not enough memory for this file" ) );
        size_t filled = 0;
        while ( filled < out.size() && !isAtEnd_ )
        {
            auto more = step_( out.subspan( filled ) );
            if ( !more )
                return more;
            filled += *more;
        }
        return filled;
    }

private:
    static constexpr size_t cInput = size_t( 64 ) << 10;
    static constexpr size_t cMostOut = size_t( 1 ) << 30;

    tl::expected<size_t, std::string> step_( std::span<std::byte> out )
    {
        if ( stream_.avail_in == 0 )
        {
            const auto got = packed_->read( input_ );
            if ( !got )
                return got;
            stream_.next_in = reinterpret_cast<Bytef*>( input_.data() );
            stream_.avail_in = uInt( *got );
            if ( *got == 0 )
                return ended_();
        }
        const size_t room = std::min( out.size(), cMostOut );
        stream_.next_out = reinterpret_cast<Bytef*>( out.data() );
        stream_.avail_out = uInt( room );
        const int result = ::inflate( &stream_, Z_NO_FLUSH );
        const size_t made = room - stream_.avail_out;
        if ( result == Z_STREAM_END )
        {
            isBetween_ = true;
            ::inflateReset( &stream_ );
            return made;
        }
        // What stands behind a whole member and is none itself is not the data's: writers pad with zeros.
        if ( result == Z_DATA_ERROR && isBetween_ && made == 0 )
        {
            isAtEnd_ = true;
            return made;
        }
        isBetween_ = isBetween_ && made == 0;
        if ( result != Z_OK && result != Z_BUF_ERROR )
            return tl::unexpected( std::string( "Its packed data is damaged" ) );
        return made;
    }

    tl::expected<size_t, std::string> ended_()
    {
        isAtEnd_ = true;
        if ( isBetween_ )
            return size_t( 0 );
        return tl::unexpected( std::string( "Its packed data is cut off" ) );
    }

    std::unique_ptr<ByteSource> packed_;
    std::vector<std::byte> input_;
    z_stream stream_{};
    bool isReady_ = false, isAtEnd_ = false;
    bool isBetween_ = false; ///< a member has ended and no other has begun
};

} // namespace

std::unique_ptr<ByteSource> partsSource( std::vector<FilePart> parts )
{
    return std::make_unique<PartsSource>( std::move( parts ) );
}

std::unique_ptr<ByteSource> inflated( std::unique_ptr<ByteSource> packed )
{
    return std::make_unique<InflatedSource>( std::move( packed ) );
}

std::unique_ptr<ByteSource> skipped( std::unique_ptr<ByteSource> source, uint64_t bytes )
{
    std::vector<std::byte> buffer( size_t( 64 ) << 10 );
    while ( bytes > 0 )
    {
        const size_t count = size_t( std::min<uint64_t>( bytes, buffer.size() ) );
        const auto got = source->read( std::span( buffer ).first( count ) );
        if ( !got || *got == 0 )
            break;
        bytes -= *got;
    }
    return source;
}

bool looksLikeGzip( std::span<const std::byte> bytes )
{
    return bytes.size() >= 2 && bytes[0] == std::byte( 0x1f ) && bytes[1] == std::byte( 0x8b );
}

} // namespace VX
