#pragma once

#include <VXOrvanta/Export.h>

#include <VXMesh/io/Progress.h>
#include <VXMesh/scene/LoadedObjects.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <functional>
#include <string>

/// Import of files that the program cannot read itself, through the remote conversion service: the file is zipped,
/// uploaded, converted to the native scene format, downloaded and loaded.
///
/// Working files stand in "/.service_output_files/", which must be writable. The converted file stays there and answers
/// later imports of a file with the same name; delete it to convert anew. Two imports of files with the same name at
/// one time share their working files and must not overlap.
///
///     #include <VXViewer/scene/SceneEdits.h>
///     #include <VXViewer/work/ProgressBar.h>
///     #include <stdexcept>
///
///     ProgressBar::orderWithMainThreadPostProcessing( "Open bracket.step",
///         []() -> ProgressBar::PostProcessing
///         {
///             auto loaded = ConverterService::fromStep( "bracket.step", &ProgressBar::setProgress );
///             if ( !loaded )
///                 throw std::runtime_error( loaded.error() );
///             return [objects = loaded->objects] { SceneEdits::add( "Open bracket.step", objects ); };
///         } );
namespace VX::ConverterService
{

/// Imports a STEP file and blocks until it is loaded; for worker threads, under `ProgressBar`, whose stage it names.
///
/// `progress` may be empty; it gets 0 once connected, 0..0.25 during the upload, 0.25 while converting, 0.5..0.75
/// during the download and 0.75..1 while loading, and a false return stops the import with "Operation was canceled".
/// The error is a text for the user.
[[nodiscard]] VXORVANTA_API tl::expected<LoadedObjects, std::string> fromStep(
    const std::filesystem::path& path, const ProgressCallback& progress = {} );

using ImportCallback = std::function<void( tl::expected<LoadedObjects, std::string> result )>;

/// The same without holding a thread while the service works; returns once the first request is sent.
///
/// `callback` is called exactly once: during this call when no request is needed, else on a worker thread of the
/// framework's. `progress` jumps between the stages' bounds and is called on those threads too.
VXORVANTA_API void fromStep(
    const std::filesystem::path& path, ImportCallback callback, const ProgressCallback& progress );

/// Paths of an import in the working folder.
struct WorkingFiles
{
    /// The archive that is uploaded.
    std::filesystem::path payload;
    /// What the service sends back; it stays and answers later imports of a file with this name.
    std::filesystem::path converted;
};

/// Where an import of `file` works; two files whose names differ in folder or extension alone share it. Any thread.
[[nodiscard]] VXORVANTA_API WorkingFiles workingFiles( const std::filesystem::path& file );

/// Hears which folder of the working folder an import is about to make, before it is made: the import leaves it.
using FolderObserver = std::function<void( const std::filesystem::path& file, const std::filesystem::path& folder )>;

/// Sets who hears of such folders, on the threads of the imports; set it before the first import.
VXORVANTA_API void setFolderObserver( FolderObserver observer );

} // namespace VX::ConverterService
