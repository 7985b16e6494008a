#include "Arguments.h"

#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/SystemInfo.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <memory>
#include <sstream>

namespace VX::App
{
namespace
{

constexpr int cMaxSide = 16384;

/// "1280x800"; empty when it is a size, else what is wrong with it.
std::string parseSize( const std::string& text, int& width, int& height )
{
    const char* end = text.data() + text.size();
    const auto first = std::from_chars( text.data(), end, width );
    const bool separated = first.ec == std::errc{} && first.ptr != end && *first.ptr == 'x';
    const auto second = separated ? std::from_chars( first.ptr + 1, end, height ) : first;
    if ( !separated || second.ec != std::errc{} || second.ptr != end )
        return "\"" + text + "\" is not a size such as 1280x800";
    if ( width < 64 || height < 64 || width > cMaxSide || height > cMaxSide )
        return "\"" + text + "\" is not between 64x64 and 16384x16384";
    return {};
}

/// The arguments that are not ours but the library's, which have one dash and a long name: taken out, so that the rest
/// can be read in the usual way. They stay among the viewer's arguments.
tl::expected<std::vector<std::string>, EarlyEnd> withoutLibraryArguments( const std::vector<std::string>& all )
{
    std::vector<std::string> out;
    for ( size_t i = 0; i < all.size(); ++i )
    {
        if ( all[i] == "-noTelemetry" )
            continue;
        if ( all[i] != "-creds" )
            out.push_back( all[i] );
        else if ( ++i == all.size() )
            return tl::unexpected( EarlyEnd{ "-creds: a file with \"email\" and \"password\" must follow\n", 1 } );
    }
    return out;
}

/// Lists the library's arguments among ours, though the parser cannot know them.
class HelpFormatter final : public CLI::Formatter
{
public:
    std::string make_group(
        std::string group, bool isPositional, std::vector<const CLI::Option*> options ) const override
    {
        auto text = CLI::Formatter::make_group( std::move( group ), isPositional, std::move( options ) );
        if ( isPositional )
            return text;
        std::ostringstream more;
        CLI::detail::format_help(
            more, "-creds FILE", "Sign in with the \"email\" and \"password\" of a JSON file", get_column_width() );
        CLI::detail::format_help( more, "-noTelemetry", "Send no usage statistics in this run", get_column_width() );
        return text + more.str();
    }
};

/// What is wrong with the name of a picture; empty when nothing is.
std::string pictureProblem( const std::string& name )
{
    const auto extension = toLower( utf8string( pathFromUtf8( name ).extension() ) );
    if ( extension.empty() || extension == ".png" )
        return {};
    return "\"" + name + "\" does not end in .png, and pictures are written as PNG files";
}

} // namespace

tl::expected<Arguments, EarlyEnd> parseArguments( int argc, const char* const* argv )
{
    Arguments out;
    std::string size;
    CLI::App app( "Orvanta: viewer of 3D meshes, point clouds and STEP models", "Orvanta" );
    app.formatter( std::make_shared<HelpFormatter>() );
    app.set_version_flag( "--version", "Orvanta " + GetVXVersionString() );
    app.add_option( "files", out.files, "Files to open" );
    app.add_option( "--screenshot", out.screenshot, "Draw the files into a PNG file without a window, and end" )
        ->check( pictureProblem );
    app.add_option( "--size", size, "Size of the window or picture, such as 1280x800" )
        ->check( [&out]( const std::string& text ) { return parseSize( text, out.width, out.height ); } );
    app.add_option( "--config", out.config, "JSON configuration of the ribbon, menu and fonts" );
    app.add_flag( "--local", out.local,
        "Without an account and a network; STEP files are converted on this machine by orvanta-backend" );
    app.add_flag( "--verbose", out.verbose, "Write more to the log" );
    out.all.assign( argv + 1, argv + argc );
    auto ours = withoutLibraryArguments( out.all );
    if ( !ours )
        return tl::unexpected( ours.error() );
    std::reverse( ours->begin(), ours->end() ); // the parser takes them from the end
    try
    {
        app.parse( std::move( *ours ) );
    }
    catch ( const CLI::ParseError& e )
    {
        std::ostringstream text, errors;
        const int status = app.exit( e, text, errors );
        return tl::unexpected(
            EarlyEnd{ status == 0 ? text.str() : visibleText( trimmed( text.str() + errors.str() ) ) + "\n", status } );
    }
    if ( out.local && std::find( out.all.begin(), out.all.end(), "-creds" ) != out.all.end() )
        return tl::unexpected( EarlyEnd{ "--local needs no account: leave -creds out, or --local\n", 1 } );
    out.isSizeGiven = !size.empty();
    return out;
}

} // namespace VX::App
