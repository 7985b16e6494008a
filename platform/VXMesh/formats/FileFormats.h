#pragma once

#include <VXMesh/formats/FileFormat.h>

#include <filesystem>
#include <string>
#include <vector>

namespace VX
{

/// The registry of formats. Add to it before the viewer starts; reading it is safe from any thread after that.
///
///     FileFormats::add( { "List of names", { ".names" },
///         []( const std::filesystem::path& file, const ProgressCallback& ) -> LoadResult
///         {
///             LoadedObjects out;
///             out.objects.push_back( std::make_shared<Object>() );
///             out.objects.back()->setName( file.stem().string() );
///             return out;
///         } } );
///     if ( const auto loaded = loadObjectFromFile( "parts.names" ); !loaded )
///         return 1; // loaded.error() says why
namespace FileFormats
{

/// A later format takes an extension over from an earlier one.
VXMESH_API void add( FileFormat format );
[[nodiscard]] VXMESH_API const std::vector<FileFormat>& all();
/// The format for a file, by the extension of its name in any case; null when nobody reads it.
[[nodiscard]] VXMESH_API const FileFormat* find( const std::filesystem::path& file );

} // namespace FileFormats

/// What is wrong with a file before anybody looks inside: missing, a folder, unreadable, empty. Names the file; empty
/// when nothing is wrong. Any thread.
[[nodiscard]] VXMESH_API std::string fileProblem( const std::filesystem::path& file );

/// Opens a file of any registered format.
///
/// Blocks; any thread. Nothing is thrown, however damaged the file is. The error names the file and says what is wrong
/// with it ("Operation was canceled" when `progress` asked to stop).
[[nodiscard]] VXMESH_API LoadResult loadObjectFromFile(
    const std::filesystem::path& file, const ProgressCallback& progress = {} );

} // namespace VX
