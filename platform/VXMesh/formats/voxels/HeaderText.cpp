#include <VXMesh/formats/voxels/HeaderText.h>

#include <VXMesh/io/Text.h>

#include <charconv>
#include <sstream>

namespace VX
{
namespace
{

template <typename T>
std::optional<T> numberOf( std::string_view text )
{
    if ( text.starts_with( '+' ) )
        text.remove_prefix( 1 );
    T value{};
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
    if ( error != std::errc{} || end != text.data() + text.size() )
        return {};
    return value;
}

template <typename T>
std::optional<std::vector<T>> numbersOf( std::string_view text )
{
    std::vector<T> out;
    for ( const auto& word : wordsOf( text ) )
    {
        const auto number = numberOf<T>( word );
        if ( !number )
            return {};
        out.push_back( *number );
    }
    return out;
}

} // namespace

std::vector<std::string> wordsOf( std::string_view text )
{
    std::istringstream stream{ std::string( text ) };
    std::vector<std::string> out;
    for ( std::string word; stream >> word; )
        out.push_back( word );
    return out;
}

std::optional<int64_t> wholeNumber( std::string_view text )
{
    return numberOf<int64_t>( text );
}

std::optional<double> decimalNumber( std::string_view text )
{
    return numberOf<double>( text );
}

std::optional<std::vector<int64_t>> wholeNumbers( std::string_view text )
{
    return numbersOf<int64_t>( text );
}

std::optional<std::vector<double>> decimalNumbers( std::string_view text )
{
    return numbersOf<double>( text );
}

HeaderLines::HeaderLines( std::span<const std::byte> bytes )
    : text_( reinterpret_cast<const char*>( bytes.data() ), std::min( bytes.size(), cMostBytes ) )
{
}

std::optional<std::string_view> HeaderLines::next()
{
    if ( at_ >= text_.size() )
        return {};
    const auto end = text_.find( '\n', at_ );
    auto line = text_.substr( at_, end == text_.npos ? end : end - at_ );
    at_ = end == text_.npos ? text_.size() : end + 1;
    if ( line.ends_with( '\r' ) )
        line.remove_suffix( 1 );
    return line;
}

std::string fieldOf( const HeaderFields& fields, std::initializer_list<const char*> keys )
{
    for ( const auto* key : keys )
        if ( const auto it = fields.find( key ); it != fields.end() )
            return it->second;
    return {};
}

} // namespace VX
