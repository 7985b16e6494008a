#include <VXViewer/dialogs/FileDialogSignals.h>

#include <VXMesh/io/Path.h>

#include <fmt/format.h>

#include <algorithm>

namespace VX
{
namespace
{

/// "STL" for part.stl.
std::string kindOf( const std::filesystem::path& file )
{
    auto out = utf8string( file.extension() );
    if ( !out.empty() )
        out.erase( 0, 1 );
    std::transform( out.begin(), out.end(), out.begin(),
        []( char c ) { return c >= 'a' && c <= 'z' ? char( c - 'a' + 'A' ) : c; } );
    return out;
}

} // namespace

FileDialogSignals& FileDialogSignals::instance()
{
    static FileDialogSignals sSignals;
    return sSignals;
}

std::string commonFilesName( const std::vector<std::filesystem::path>& files )
{
    if ( files.empty() )
        return "no files";
    const auto kind = kindOf( files.front() );
    const bool same =
        std::all_of( files.begin(), files.end(), [&]( const auto& file ) { return kindOf( file ) == kind; } );
    const auto word = same && !kind.empty() ? kind + " file" : std::string( "file" );
    return files.size() == 1 ? word : fmt::format( "{} {}s", files.size(), word );
}

} // namespace VX
