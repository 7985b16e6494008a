#pragma once

#include <VXMesh/io/Progress.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <string>
#include <system_error>

namespace VX::ConverterService
{

/// Working folder of all conversions: at the root of the file system, made writable for everybody at installation.
extern const std::filesystem::path cOutputDir;
/// What is asked of the service, and the extension of what it sends.
extern const std::string cOutputFormat;

/// Names and paths of one conversion.
struct Context
{
    std::string requestId;
    std::string inputFormat;
    std::string outputFormat;
    std::filesystem::path inputPath;
    std::filesystem::path payloadPath;
    std::filesystem::path outputPath;
    ProgressCallback progress;
    std::string uploadUrl;

    /// Creates the working folder when it is missing; a failure of that shows when it is first written to.
    [[nodiscard]] static Context fromFilePath( std::filesystem::path path, ProgressCallback progress );

    /// Where the input is copied to before it is packed.
    [[nodiscard]] std::filesystem::path temporaryDir() const { return cOutputDir / requestId; }
};

/// "errno " and the code of a failed file operation.
[[nodiscard]] std::string errnoText( const std::error_code& code );

/// Copies the input into its temporary folder and packs it at the payload path; the copy is removed again. Folder, copy
/// and archive are for their owner alone, whatever the mode of the input.
[[nodiscard]] tl::expected<void, std::string> packInput( const Context& context );

/// Removes the archive that was uploaded.
[[nodiscard]] tl::expected<void, std::string> removePayload( const Context& context );

/// The failure of a callback that asks to stop at a fraction.
[[nodiscard]] tl::expected<void, std::string> checkCanceled( const ProgressCallback& progress, float fraction );

} // namespace VX::ConverterService
