#include "crypto/Base64.h"

#include <sodium.h>

namespace VX::Backend
{
namespace
{

std::string encoded( std::string_view bytes, int variant )
{
    std::string out( sodium_base64_encoded_len( bytes.size(), variant ), '\0' );
    sodium_bin2base64(
        out.data(), out.size(), reinterpret_cast<const unsigned char*>( bytes.data() ), bytes.size(), variant );
    out.pop_back(); // the terminator
    return out;
}

} // namespace

std::string base64( std::string_view bytes )
{
    return encoded( bytes, sodium_base64_VARIANT_ORIGINAL );
}

std::string base64Url( std::string_view bytes )
{
    return encoded( bytes, sodium_base64_VARIANT_URLSAFE_NO_PADDING );
}

std::optional<std::string> fromBase64Url( std::string_view text )
{
    std::string out( text.size(), '\0' );
    size_t length = 0;
    if ( sodium_base642bin( reinterpret_cast<unsigned char*>( out.data() ), out.size(), text.data(), text.size(),
             nullptr, &length, nullptr, sodium_base64_VARIANT_URLSAFE_NO_PADDING ) != 0 )
        return {};
    out.resize( length );
    return out;
}

} // namespace VX::Backend
