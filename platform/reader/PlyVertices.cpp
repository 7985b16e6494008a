#include "PlyVertices.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace VX
{
namespace
{

constexpr size_t cMaxHeader = 64 * 1024;

using Words = std::array<std::string_view, 4>;

Words wordsOf( std::string_view line )
{
    Words out;
    for ( auto& word : out )
    {
        line.remove_prefix( std::min( line.find_first_not_of( " \t\r" ), line.size() ) );
        word = line.substr( 0, line.find_first_of( " \t\r" ) );
        line.remove_prefix( word.size() );
    }
    return out;
}

/// 0 for what is no type of a single number.
size_t sizeOf( std::string_view type )
{
    if ( type == "char" || type == "uchar" || type == "int8" || type == "uint8" )
        return 1;
    if ( type == "short" || type == "ushort" || type == "int16" || type == "uint16" )
        return 2;
    if ( type == "int" || type == "uint" || type == "int32" || type == "uint32" || type == "float" ||
         type == "float32" )
        return 4;
    return type == "double" || type == "float64" ? 8 : 0;
}

class Header
{
public:
    std::optional<PlyVertices> parse( std::string_view text )
    {
        for ( size_t at = 0; at < text.size(); )
        {
            const size_t end = text.find( '\n', at );
            if ( end == text.npos )
                return {};
            const auto words = wordsOf( text.substr( at, end - at ) );
            at = end + 1;
            if ( words[0] == "end_header" )
            {
                out_.begin = at;
                out_.isDouble = doubles_ == 3;
                return found_ == 3 ? std::optional( out_ ) : std::nullopt;
            }
            if ( !line_( words ) )
                return {};
        }
        return {};
    }

private:
    bool line_( const Words& words )
    {
        if ( words[0] == "format" )
        {
            out_.isText = words[1] == "ascii";
            out_.isBigEndian = words[1] == "binary_big_endian";
        }
        else if ( words[0] == "element" )
            return element_( words[1], words[2] );
        else if ( words[0] == "property" && inVertex_ )
            return property_( words[1], words[2] );
        return true;
    }

    bool element_( std::string_view name, std::string_view count )
    {
        inVertex_ = name == "vertex";
        if ( !inVertex_ )
            return found_ == 3;
        const auto [end, error] = std::from_chars( count.data(), count.data() + count.size(), out_.count );
        return error == std::errc{} && end == count.data() + count.size();
    }

    bool property_( std::string_view type, std::string_view name )
    {
        const size_t size = sizeOf( type );
        if ( size == 0 )
            return false;
        if ( name == "x" || name == "y" || name == "z" )
        {
            ( name == "x" ? out_.x : name == "y" ? out_.y : out_.z ) = out_.stride;
            doubles_ += size == 8 ? 1 : 0;
            ++found_;
        }
        out_.stride += out_.isText ? 1 : size;
        return true;
    }

    PlyVertices out_;
    bool inVertex_ = false;
    int found_ = 0, doubles_ = 0;
};

} // namespace

std::optional<PlyVertices> PlyVertices::parse( std::string_view file )
{
    return Header().parse( file.substr( 0, cMaxHeader ) );
}

} // namespace VX
