#pragma once

#include "FoundFile.h"
#include "ImportLock.h"

#include <VXMesh/formats/LoadedObjects.h>
#include <VXMesh/io/Progress.h>

#include <tl/expected.hpp>

#include <atomic>
#include <filesystem>
#include <functional>
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
class StepImport
{
public:
    using Result = tl::expected<LoadedObjects, std::string>;

    explicit StepImport( std::filesystem::path file );

    /// Takes the turn; false while another import has it. It ends with the import's result or with this object.
    [[nodiscard]] bool tryBegin();

    /// Imports and blocks; for the thread of a job under `ProgressBar`, whose stage it names. `tryBegin` first.
    [[nodiscard]] Result run( const ProgressCallback& progress );

    /// Imports without holding a thread while the service works. `done` is called once: on this thread when nothing
    /// has to be asked, else on one of the framework's. `tryBegin` first.
    static void runAsync( const std::shared_ptr<StepImport>& import, std::function<void( Result )> done,
        const ProgressCallback& progress );

private:
    [[nodiscard]] std::string prepare_( const ProgressCallback& progress );
    [[nodiscard]] Result finish_( Result result );
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
[[nodiscard]] StepImport::Result importStep( const std::filesystem::path& file, const ProgressCallback& progress );

/// Whether a file was converted before and has not been changed since, by its size and time: most likely no service is
/// asked when it is opened. Any thread.
[[nodiscard]] bool isConverted( const std::filesystem::path& file );

/// Forgets the conversion of a file, so that it is converted anew when it is opened next. Any thread.
void forgetConversion( const std::filesystem::path& file );

} // namespace VX::App
