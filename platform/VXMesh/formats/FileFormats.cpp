#include <VXMesh/formats/FileFormats.h>

#include <VXMesh/formats/ForeignFormats.h>
#include <VXMesh/formats/PointFormats.h>
#include <VXMesh/formats/VolumeFormats.h>
#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>
#include <exception>
#include <new>

#include <unistd.h>

namespace VX
{
namespace
{

std::vector<FileFormat>& registry()
{
    static std::vector<FileFormat> sFormats = []
    {
        std::vector<FileFormat> formats = foreignFormats();
        formats.push_back( pointsFormat() );
        for ( auto& format : volumeFormats() )
            formats.push_back( std::move( format ) );
        formats.push_back( vxuFormat() );
        return formats;
    }();
    return sFormats;
}

/// Its last extension, and both where there are two: ".gz" and ".nii.gz".
std::array<std::string, 2> extensionsOf( const std::filesystem::path& file )
{
    const auto last = toLower( utf8string( file.extension() ) );
    return { toLower( utf8string( file.stem().extension() ) ) + last, last };
}

std::string quoted( const std::filesystem::path& file )
{
    return "\"" + utf8string( file.filename() ) + "\"";
}

} // namespace

namespace FileFormats
{

void add( FileFormat format )
{
    registry().push_back( std::move( format ) );
}

const std::vector<FileFormat>& all()
{
    return registry();
}

const FileFormat* find( const std::filesystem::path& file )
{
    const auto& formats = registry();
    for ( const auto& extension : extensionsOf( file ) )
    {
        const auto it = std::find_if( formats.rbegin(), formats.rend(),
            [&]( const FileFormat& format )
            {
                return std::find( format.extensions.begin(), format.extensions.end(), extension ) !=
                       format.extensions.end();
            } );
        if ( it != formats.rend() )
            return &*it;
    }
    return nullptr;
}

} // namespace FileFormats

std::string fileProblem( const std::filesystem::path& file )
{
    std::error_code ec;
    const auto status = std::filesystem::status( file, ec );
    if ( status.type() == std::filesystem::file_type::not_found )
        return quoted( file ) + " does not exist";
    if ( ec )
        return "Cannot read " + quoted( file ) + ": " + ec.message();
    if ( std::filesystem::is_directory( status ) )
        return quoted( file ) + " is a folder; open a file in it instead";
    if ( !std::filesystem::is_regular_file( status ) )
        return quoted( file ) + " is not a regular file";
    if ( ::access( file.c_str(), R_OK ) != 0 )
        return "Cannot read " + quoted( file ) + ": you have no permission to open it";
    if ( std::filesystem::file_size( file, ec ) == 0 )
        return quoted( file ) + " is empty";
    return {};
}

LoadResult loadObjectFromFile( const std::filesystem::path& file, const ProgressCallback& progress )
{
    if ( auto problem = fileProblem( file ); !problem.empty() )
        return tl::unexpected( std::move( problem ) );
    const FileFormat* format = FileFormats::find( file );
    if ( !format )
        return tl::unexpected( "Files of type \"" + utf8string( file.extension() ) + "\" cannot be opened (" +
                               utf8string( file.filename() ) + ")" );
    try
    {
        return format->load( file, progress );
    }
    catch ( const std::bad_alloc& )
    {
        return tl::unexpected( "Cannot read " + quoted( file ) + ": there is not enough memory" );
    }
    catch ( const std::exception& e )
    {
        spdlog::warn( "The reader of {} failed: {}", quoted( file ), e.what() );
        return tl::unexpected( "Cannot read " + quoted( file ) + ": it may be damaged" );
    }
}

} // namespace VX
