#pragma once

#include <filesystem>
#include <string>

namespace VX::App
{

/// What imports of this user leave in the working folder: the folder of each request, and the archive, a part of a
/// download or a bad result where one was canceled or failed.
///
/// Imports are noted before they make anything ("imports-begun.json" beside the settings), so that nothing else is ever
/// touched and a killed program's files are found by the next one. Any thread.
namespace ImportLeftovers
{

/// An import of a file is about to begin.
void noteImport( const std::filesystem::path& file );
/// It is about to make a folder.
void noteFolder( const std::filesystem::path& file, const std::filesystem::path& folder );

/// Removes what was noted, when no import runs in any program of this user; converted files of which there is a record
/// stay.
void tidy();

} // namespace ImportLeftovers

} // namespace VX::App
