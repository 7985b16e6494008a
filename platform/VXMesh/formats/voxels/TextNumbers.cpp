#include <VXMesh/formats/voxels/TextNumbers.h>

#include <charconv>
#include <cstring>
#include <optional>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

constexpr const char* cNoNumber = "Its voxels are text, and something in it is no number that fits";

bool isBetween( char c )
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == ',';
}

/// The characters of a source, one after the other.
class Characters
{
public:
    explicit Characters( std::unique_ptr<ByteSource> source )
        : source_( std::move( source ) )
        , buffer_( size_t( 64 ) << 10 )
    {
    }

    /// Nothing at the end.
    tl::expected<std::optional<char>, std::string> next()
    {
        if ( at_ == filled_ )
        {
            const auto got = source_->read( buffer_ );
            if ( !got )
                return Error( got.error() );
            filled_ = *got;
            at_ = 0;
            if ( filled_ == 0 )
                return std::optional<char>();
        }
        return std::optional( char( buffer_[at_++] ) );
    }

private:
    std::unique_ptr<ByteSource> source_;
    std::vector<std::byte> buffer_;
    size_t filled_ = 0, at_ = 0;
};

template <typename T>
class Decimals final : public ByteSource
{
public:
    explicit Decimals( std::unique_ptr<ByteSource> text )
        : characters_( std::move( text ) )
    {
    }

    tl::expected<size_t, std::string> read( std::span<std::byte> out ) override
    {
        size_t filled = 0;
        while ( filled + sizeof( T ) <= out.size() )
        {
            const auto word = word_();
            if ( !word )
                return Error( word.error() );
            if ( word->empty() )
                break;
            T value{};
            const auto [end, error] = std::from_chars( word->data(), word->data() + word->size(), value );
            if ( error != std::errc{} || end != word->data() + word->size() )
                return Error( cNoNumber );
            std::memcpy( out.data() + filled, &value, sizeof value );
            filled += sizeof value;
        }
        return filled;
    }

private:
    static constexpr size_t cLongest = 400; // a double written out

    /// Empty at the end.
    tl::expected<std::string, std::string> word_()
    {
        std::string out;
        for ( ;; )
        {
            const auto c = characters_.next();
            if ( !c )
                return Error( c.error() );
            if ( !*c || ( isBetween( **c ) && !out.empty() ) )
                return out;
            if ( !isBetween( **c ) )
                out += **c;
            if ( out.size() > cLongest )
                return Error( cNoNumber );
        }
    }

    Characters characters_;
};

int digitOf( char c )
{
    if ( c >= '0' && c <= '9' )
        return c - '0';
    const char low = char( c | 0x20 );
    return low >= 'a' && low <= 'f' ? low - 'a' + 10 : -1;
}

class HexDigits final : public ByteSource
{
public:
    explicit HexDigits( std::unique_ptr<ByteSource> text )
        : characters_( std::move( text ) )
    {
    }

    tl::expected<size_t, std::string> read( std::span<std::byte> out ) override
    {
        size_t digits = 0;
        while ( digits < 2 * out.size() )
        {
            const auto c = characters_.next();
            if ( !c )
                return Error( c.error() );
            if ( !*c )
                break;
            if ( isBetween( **c ) )
                continue;
            const int digit = digitOf( **c );
            if ( digit < 0 )
                return Error( "Its voxels are hexadecimal text, and something in it is no digit" );
            auto& byte = out[digits / 2];
            byte = digits % 2 == 0 ? std::byte( digit << 4 ) : byte | std::byte( digit );
            ++digits;
        }
        return digits / 2;
    }

private:
    Characters characters_;
};

} // namespace

std::unique_ptr<ByteSource> decimals( std::unique_ptr<ByteSource> text, FileNumber number )
{
    return withFileNumber( number, [&]<typename T>( T ) -> std::unique_ptr<ByteSource>
        { return std::make_unique<Decimals<T>>( std::move( text ) ); } );
}

std::unique_ptr<ByteSource> hexDigits( std::unique_ptr<ByteSource> text )
{
    return std::make_unique<HexDigits>( std::move( text ) );
}

} // namespace VX
