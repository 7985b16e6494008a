#include <VXMesh/io/Json.h>

#include <VXMesh/io/MappedFile.h>

#include <json/reader.h>

#include <memory>

namespace VX
{
namespace
{

Json::CharReaderBuilder strict()
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode( &builder.settings_ );
    builder["skipBom"] = false;
    return builder;
}

/// Takes remarks unless the builder says otherwise: people write them into settings.
tl::expected<Json::Value, std::string> parse( const char* begin, const char* end, Json::CharReaderBuilder builder )
{
    builder["stackLimit"] = 200;
    const std::unique_ptr<Json::CharReader> reader( builder.newCharReader() );
    Json::Value root;
    std::string errors;
    // jsoncpp reports too deep nesting by an exception, everything else by its return value.
    try
    {
        if ( !reader->parse( begin, end, &root, &errors ) )
            return tl::unexpected( errors );
    }
    catch ( const Json::Exception& e )
    {
        return tl::unexpected( std::string( e.what() ) );
    }
    return root;
}

/// Whether there is a slash outside of text, which nothing but a remark begins with.
bool hasRemark( const std::string& text )
{
    bool inText = false;
    for ( size_t i = 0; i < text.size(); ++i )
        if ( inText && text[i] == '\\' )
            ++i;
        else if ( text[i] == '"' )
            inText = !inText;
        else if ( text[i] == '/' && !inText )
            return true;
    return false;
}

} // namespace

tl::expected<Json::Value, std::string> deserializeJsonValue( const std::string& text )
{
    return parse( text.data(), text.data() + text.size(), {} );
}

tl::expected<Json::Value, std::string> deserializeStrictJson( const std::string& text )
{
    // jsoncpp's strict mode takes one behind a brace.
    if ( hasRemark( text ) )
        return tl::unexpected( std::string( "There is a remark in it" ) );
    return parse( text.data(), text.data() + text.size(), strict() );
}

tl::expected<Json::Value, std::string> deserializeJsonValue( const std::filesystem::path& file )
{
    constexpr size_t cMaxSize = size_t( 64 ) << 20;
    auto mapped = MappedFile::open( file );
    if ( !mapped )
        return tl::unexpected( mapped.error() );
    const auto bytes = mapped->bytes();
    if ( bytes.size() > cMaxSize )
        return tl::unexpected( "\"" + file.string() + "\" is too large for a JSON document" );
    const auto* begin = reinterpret_cast<const char*>( bytes.data() );
    return parse( begin, begin + bytes.size(), {} );
}

std::string textMember( const Json::Value& object, const char* key, const std::string& fallback )
{
    return object.isObject() && object[key].isString() ? object[key].asString() : fallback;
}

} // namespace VX
