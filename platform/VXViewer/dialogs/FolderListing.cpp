#include <VXViewer/dialogs/FolderListing.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <algorithm>

namespace VX
{
std::string formatFileSize( uintmax_t bytes )
{
    if ( bytes < 1000 )
        return fmt::format( "{} B", bytes );
    double value = double( bytes );
    for ( const char* unit : { "kB", "MB", "GB" } )
    {
        value /= 1000;
        if ( value < 999.5 )
            return fmt::format( "{:.{}f} {}", value, value < 9.95 ? 1 : 0, unit );
    }
    return fmt::format( "{:.0f} TB", value / 1000 );
}

FolderListing FolderListing::read( const std::filesystem::path& folder, bool allFiles )
{
    FolderListing out;
    std::error_code ec;
    for ( std::filesystem::directory_iterator it( folder, ec ), end; !ec && it != end; it.increment( ec ) )
    {
        std::error_code ignored;
        Entry entry{ it->path(), utf8string( it->path().filename() ), {}, it->is_directory( ignored ) };
        const bool readable = entry.isFolder || allFiles || FileFormats::find( entry.path );
        if ( entry.name.starts_with( '.' ) || !readable )
            continue;
        // What a link leads to may be gone.
        if ( const auto bytes = it->file_size( ignored ); !entry.isFolder && !ignored )
            entry.size = formatFileSize( bytes );
        out.entries.push_back( std::move( entry ) );
    }
    if ( ec )
        out.error = ec.message();
    std::sort( out.entries.begin(), out.entries.end(), []( const Entry& a, const Entry& b )
        { return std::pair( !a.isFolder, toLower( a.name ) ) < std::pair( !b.isFolder, toLower( b.name ) ); } );
    return out;
}

} // namespace VX
