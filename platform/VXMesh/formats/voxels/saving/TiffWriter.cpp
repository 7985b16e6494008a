#include <VXMesh/formats/voxels/saving/PlainValues.h>
#include <VXMesh/formats/voxels/saving/VoxelFile.h>
#include <VXMesh/formats/voxels/saving/Writers.h>

#include <fmt/format.h>

namespace VX
{
namespace
{

// Of the fields of a page, as TIFF 6.0 numbers them.
enum Tag : uint16_t
{
    Width = 256,
    Height = 257,
    Bits = 258,
    Compression = 259,
    Photometric = 262,
    Description = 270,
    StripPlace = 273,
    Samples = 277,
    RowsInStrip = 278,
    StripBytes = 279,
    PerX = 282,
    PerY = 283,
    Unit = 296,
    Format = 339
};

enum FieldType : uint16_t
{
    Text = 2,
    Short = 3,
    Long = 4,
    Fraction = 5,
    LongLong = 16
};

uint16_t formatOf( VoxelType type )
{
    const bool isSigned = type == VoxelType::Int8 || type == VoxelType::Int16 || type == VoxelType::Int32;
    return type == VoxelType::Float32 ? 3 : isSigned ? 2 : 1;
}

/// Writes the description of a page ahead of its pixels, so that a file is written from its beginning to its end.
class PageWriter
{
public:
    explicit PageWriter( const Volume& volume )
        : size_( volume.size() )
        , type_( volume.type() )
        , spacing_( volume.grid().spacing )
        , pixelBytes_( uint64_t( size_[0] ) * uint64_t( size_[1] ) * sizeOf( type_ ) )
    {
        constexpr uint64_t cPage = 1000; // more than a description of a page takes
        isBig_ = ( pixelBytes_ + cPage ) * uint64_t( size_[2] ) > UINT32_MAX;
    }

    [[nodiscard]] std::string fileHeader()
    {
        std::string out = "II";
        appendNumber( out, uint16_t( isBig_ ? 43 : 42 ) );
        if ( isBig_ )
            appendNumber( out, uint32_t( 8 ) );
        appendPlace_( out, isBig_ ? 16 : 8 );
        at_ = out.size();
        return out;
    }

    [[nodiscard]] std::string page( int slice )
    {
        fields_.clear();
        beyond_.clear();
        count_ = 0;
        // What does not fit into a field follows the fields.
        const uint64_t described = slice == 0 ? 15 : 14;
        const uint64_t beyondAt = at_ + ( isBig_ ? 8 + 20 * described + 8 : 2 + 12 * described + 4 );
        const auto text = fmt::format( "images={}\nslices={}\nspacing={}\nunit=mm\n", size_[2], size_[2], spacing_.z );
        const uint64_t textBytes = slice == 0 ? ( text.size() + 1 + 7 ) / 8 * 8 : 0;
        const uint64_t pixelsAt = beyondAt + textBytes + 16;
        number_( Tag( 254 ), Long, 2 ); // one page of several
        number_( Width, Long, uint64_t( size_[0] ) );
        number_( Height, Long, uint64_t( size_[1] ) );
        number_( Bits, Short, 8 * sizeOf( type_ ) );
        number_( Compression, Short, 1 );
        number_( Photometric, Short, 1 );
        if ( slice == 0 )
            text_( text + std::string( textBytes - text.size(), '\0' ), beyondAt );
        number_( StripPlace, isBig_ ? LongLong : Long, pixelsAt );
        number_( Samples, Short, 1 );
        number_( RowsInStrip, Long, uint64_t( size_[1] ) );
        number_( StripBytes, isBig_ ? LongLong : Long, pixelBytes_ );
        fraction_( PerX, 10 / spacing_.x, beyondAt );
        fraction_( PerY, 10 / spacing_.y, beyondAt );
        number_( Unit, Short, 3 ); // centimetres
        number_( Format, Short, formatOf( type_ ) );
        const uint64_t end = pixelsAt + pixelBytes_;
        // Pages begin at even places.
        const uint64_t next = end + end % 2;
        std::string out;
        if ( isBig_ )
            appendNumber( out, uint64_t( count_ ) );
        else
            appendNumber( out, uint16_t( count_ ) );
        out += fields_;
        appendPlace_( out, slice + 1 < size_[2] ? next : 0 );
        out += beyond_;
        padding_ = size_t( next - end );
        at_ = next;
        return out;
    }

    /// Bytes between the pixels of the page before and this one.
    [[nodiscard]] size_t padding() const { return padding_; }

private:
    void appendPlace_( std::string& out, uint64_t place ) const
    {
        if ( isBig_ )
            appendNumber( out, place );
        else
            appendNumber( out, uint32_t( place ) );
    }
    void begin_( Tag tag, FieldType type, uint64_t count )
    {
        ++count_;
        appendNumber( fields_, uint16_t( tag ) );
        appendNumber( fields_, uint16_t( type ) );
        appendPlace_( fields_, count );
    }
    /// A number stands at the left of its field.
    void number_( Tag tag, FieldType type, uint64_t value )
    {
        begin_( tag, type, 1 );
        appendPlace_( fields_, value );
    }
    void text_( const std::string& text, uint64_t beyondAt )
    {
        begin_( Description, Text, text.size() );
        appendPlace_( fields_, beyondAt + beyond_.size() );
        beyond_ += text;
    }
    void fraction_( Tag tag, double value, uint64_t beyondAt )
    {
        begin_( tag, Fraction, 1 );
        std::string bytes;
        // As many digits as 32 bits have room for.
        uint32_t below = 1'000'000'000;
        while ( below > 1 && value * below > UINT32_MAX )
            below /= 10;
        appendNumber( bytes, uint32_t( std::min( std::round( value * below ), double( UINT32_MAX ) ) ) );
        appendNumber( bytes, below );
        if ( isBig_ )
            fields_ += bytes;
        else
            appendNumber( fields_, uint32_t( beyondAt + beyond_.size() ) );
        beyond_ += bytes;
    }

    VoxelIndex size_;
    VoxelType type_;
    Vector3d spacing_;
    uint64_t pixelBytes_;
    bool isBig_ = false;
    uint64_t at_ = 0; ///< where the next page begins
    size_t padding_ = 0;
    uint16_t count_ = 0;
    std::string fields_, beyond_;
};

} // namespace

tl::expected<void, std::string> saveTiff(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress )
{
    constexpr float cValues = 0.3f; // of the whole time
    const auto plain = withPlainValues( volume, subprogress( progress, 0, cValues ) );
    if ( !plain )
        return tl::unexpected( plain.error() );
    auto out = VoxelFile::create( file, false );
    if ( !out )
        return tl::unexpected( out.error() );
    PageWriter writer( *plain );
    if ( auto done = out->write( writer.fileHeader() ); !done )
        return done;
    const auto before = [&]( int slice )
    {
        const std::string padding( writer.padding(), '\0' );
        return out->write( padding + writer.page( slice ) );
    };
    if ( auto done = out->writeVoxels( *plain, subprogress( progress, cValues, 1 ), before ); !done )
        return done;
    return out->finish();
}

} // namespace VX
