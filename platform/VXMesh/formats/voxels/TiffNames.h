#pragma once

#include <VXMesh/io/NumberedFiles.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

namespace VX
{

/// Whether the name of a file is one of TIFF files.
[[nodiscard]] inline bool isTiffName( const std::filesystem::path& file )
{
    const auto extension = toLower( utf8string( file.extension() ) );
    return extension == ".tif" || extension == ".tiff" || extension == ".btf" || extension == ".tf8";
}

/// The TIFF files in a folder, by the numbers in their names.
[[nodiscard]] inline std::vector<std::filesystem::path> numberedTiffs( const std::filesystem::path& folder )
{
    return filesByNumber( folder, &isTiffName );
}

} // namespace VX
