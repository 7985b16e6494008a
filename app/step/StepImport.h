#pragma once

#include "files/FoundFile.h"
#include "step/ImportLock.h"

#include <VXMesh/formats/FileFormat.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace VX::App
{

/// One STEP file on its way through the conversion service, so that nothing but its own conversion is ever shown.
///
/// The service's client keeps converted files by name alone. Before it is asked, what lies under that name is removed
/// unless this user's program made it from these very bytes; afterwards it is looked at once more. Imports that share
/// working files take turns, also with other programs of this user. Worker threads.
class StepImport final : public AsyncLoad, public std::enable_shared_from_this<StepImport>
{
public:
    explicit StepImport( std::filesystem::path file );

    /// Takes the turn.
    [[nodiscard]] bool tryBegin() override;
    void start( Done done, const ProgressCallback& progress ) override;

    /// Imports and blocks; for the thread of a job under `ProgressBar`, whose stage it names. `tryBegin` first.
    [[nodiscard]] LoadResult run( const ProgressCallback& progress );

private:
    [[nodiscard]] std::string prepare_( const ProgressCallback& progress );
    [[nodiscard]] LoadResult finish_( LoadResult result );
    [[nodiscard]] std::string checkConverted_();

    std::filesystem::path file_;
    std::filesystem::path converted_;
    std::string name_;
    std::optional<ImportLock> lock_;
    FileIdentity input_;
    std::string digest_;
    /// What was found before and can be shown.
    std::optional<FileIdentity> cached_;
    int64_t begun_ = 0;
};

/// Imports a STEP file as soon as no other import has its working files, and blocks until then.
[[nodiscard]] LoadResult importStep( const std::filesystem::path& file, const ProgressCallback& progress );

/// Whether a file was converted before and has not been changed since, by its size and time: most likely no service is
/// asked when it is opened. Any thread.
[[nodiscard]] bool isConverted( const std::filesystem::path& file );

/// Forgets the conversion of a file, so that it is converted anew when it is opened next. Any thread.
void forgetConversion( const std::filesystem::path& file );

} // namespace VX::App
