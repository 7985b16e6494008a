#include "support/voxels/WrittenTiff.h"

#include "support/voxels/WrittenBytes.h"

namespace VX::Testing
{
namespace
{

struct Entry
{
    uint16_t tag, type; ///< 2 text, 3 of 16 bits, 4 of 32, 5 a fraction, 16 of 64
    std::string values;
    uint64_t count;
};

class TiffWriter
{
public:
    TiffWriter( std::endian order, bool isBig )
        : order_( order )
        , isBig_( isBig )
    {
        out_ = order == std::endian::little ? "II" : "MM";
        out_ += word<uint16_t>( isBig ? 43 : 42 );
        if ( isBig )
            out_ += word<uint16_t>( 8 ) + word<uint16_t>( 0 );
        link_ = out_.size();
        out_ += place( 0 );
    }

    void add( const WrittenPage& page )
    {
        std::string offsets, counts;
        uint64_t parts = 0;
        const size_t each = page.tile > 0 ? size_t( page.tile ) * page.tile * page.samples * page.bits / 8
                                          : std::max<size_t>( page.pixels.size(), 1 );
        for ( size_t at = 0; at < page.pixels.size(); at += each, ++parts )
        {
            offsets += place( out_.size() );
            counts += place( std::min( each, page.pixels.size() - at ) );
            out_ += page.pixels.substr( at, each );
        }
        std::vector<Entry> entries{ long_( 254, page.subfile ), long_( 256, page.width ), long_( 257, page.height ),
            short_( 258, std::vector<uint16_t>( page.samples, page.bits ) ), short_( 259, { 1 } ),
            short_( 262, { page.photometric } ) };
        if ( !page.description.empty() )
            entries.push_back( { 270, 2, page.description + '\0', page.description.size() + 1 } );
        const uint16_t places = isBig_ ? 16 : 4;
        if ( page.tile == 0 )
            entries.push_back( { 273, places, offsets, parts } );
        entries.push_back( short_( 277, { page.samples } ) );
        if ( page.tile == 0 )
        {
            entries.push_back( long_( 278, page.height ) );
            entries.push_back( { 279, places, counts, parts } );
        }
        if ( page.perCentimetre > 0 )
            for ( const uint16_t tag : { 282, 283 } )
                entries.push_back(
                    { tag, 5, word<uint32_t>( uint32_t( page.perCentimetre * 1000 ) ) + word<uint32_t>( 1000 ), 1 } );
        entries.push_back( short_( 284, { 1 } ) );
        if ( page.perCentimetre > 0 )
            entries.push_back( short_( 296, { 3 } ) );
        if ( page.tile > 0 )
        {
            entries.push_back( long_( 322, page.tile ) );
            entries.push_back( long_( 323, page.tile ) );
            entries.push_back( { 324, places, offsets, parts } );
            entries.push_back( { 325, places, counts, parts } );
        }
        entries.push_back( short_( 339, std::vector<uint16_t>( page.samples, page.format ) ) );
        directory_( entries );
    }

    [[nodiscard]] const std::string& bytes() const { return out_; }

private:
    template <typename T>
    std::string word( T value ) const
    {
        return bytesOf( value, order_ );
    }
    std::string place( uint64_t value ) const
    {
        return isBig_ ? word<uint64_t>( value ) : word<uint32_t>( uint32_t( value ) );
    }
    Entry long_( uint16_t tag, uint32_t value ) const { return { tag, 4, word<uint32_t>( value ), 1 }; }
    Entry short_( uint16_t tag, const std::vector<uint16_t>& values ) const
    {
        std::string bytes;
        for ( const auto v : values )
            bytes += word<uint16_t>( v );
        return { tag, 3, bytes, values.size() };
    }

    void directory_( const std::vector<Entry>& entries )
    {
        const size_t inside = isBig_ ? 8 : 4;
        std::string body = isBig_ ? word<uint64_t>( entries.size() ) : word<uint16_t>( uint16_t( entries.size() ) );
        for ( const auto& entry : entries )
        {
            body += word<uint16_t>( entry.tag ) + word<uint16_t>( entry.type ) + place( entry.count );
            auto value = entry.values;
            if ( value.size() > inside )
            {
                value = place( out_.size() );
                out_ += entry.values;
            }
            value.resize( inside, '\0' );
            body += value;
        }
        out_.resize( ( out_.size() + 7 ) / 8 * 8 );
        out_.replace( link_, inside, place( out_.size() ) );
        out_ += body;
        link_ = out_.size();
        out_ += place( 0 );
    }

    std::endian order_;
    bool isBig_;
    size_t link_; ///< where the place of the next directory stands
    std::string out_;
};

} // namespace

std::string tiffFile( const std::vector<WrittenPage>& pages, std::endian order, bool isBig )
{
    TiffWriter writer( order, isBig );
    for ( const auto& page : pages )
        writer.add( page );
    return writer.bytes();
}

} // namespace VX::Testing
