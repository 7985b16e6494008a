#pragma once

#include "FoundFile.h"

#include <VXMesh/formats/LoadedObjects.h>
#include <VXMesh/io/Progress.h>

#include <tl/expected.hpp>

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace VX::App
{

class StepImport;

/// Whether a file is a STEP file by its name.
[[nodiscard]] bool isStepFile( const std::filesystem::path& file );

/// Files that are opened together, as one job: with one total, one Cancel and one end.
class OpenBatch : public std::enable_shared_from_this<OpenBatch>
{
public:
    /// What became of one file; the error is a text for the user.
    using Result = tl::expected<LoadedObjects, std::string>;

    enum class Mode
    {
        Open,
        /// The objects take the place of the whole scene, which belongs to the file from then on.
        Scene,
        /// The objects take the place of those that the file was opened to before.
        Reload,
        /// The same, and what is known of the file's conversion is forgotten.
        ConvertAnew
    };

    /// Where a run reports to.
    struct Bar
    {
        /// Of the whole batch; false cancels it. In the foreground any thread may call it, else the run's thread does.
        ProgressCallback progress;
        /// What is done now, as a line for the user; on the run's thread.
        std::function<void( const std::string& )> stage;
    };

    struct File
    {
        std::filesystem::path path;
        /// As it was before it was read.
        FileIdentity identity;
        /// Nothing while it has not been read.
        std::optional<Result> result;
    };

    explicit OpenBatch( const std::vector<std::filesystem::path>& files, Mode mode = Mode::Open );

    /// Reads one file after the other. Blocks; returns when all are read, or soon after it was canceled.
    void run( const Bar& bar );
    /// The same, with STEP files converted side by side meanwhile.
    void runSideBySide( const Bar& bar );
    /// Any thread.
    void cancel();
    [[nodiscard]] bool isCanceled() const;

    [[nodiscard]] Mode mode() const { return mode_; }
    [[nodiscard]] size_t size() const { return files_.size(); }
    /// Before and after a run.
    [[nodiscard]] std::vector<File>& files() { return files_; }

private:
    void begin_( size_t index );
    void read_( size_t index, const Bar& bar );
    void store_( size_t index, Result result );
    [[nodiscard]] float setFraction_( size_t index, float fraction );
    void startSteps_( std::deque<size_t>& waiting );
    void startStep_( size_t index, const std::shared_ptr<StepImport>& import );
    void waitForNews_( bool forTurn );
    [[nodiscard]] std::string stageSideBySide_( const std::deque<size_t>& waiting ) const;

    const Mode mode_;
    mutable std::mutex mutex_;
    std::condition_variable news_;
    bool hasNews_ = false;
    bool canceled_ = false;
    std::vector<File> files_;
    std::vector<float> fractions_;
    double sum_ = 0;
    size_t done_ = 0;
    size_t converting_ = 0;
};

} // namespace VX::App
