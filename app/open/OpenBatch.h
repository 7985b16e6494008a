#pragma once

#include "files/FoundFile.h"

#include <VXMesh/formats/FileFormat.h>

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

/// Files that are opened together, as one job: with one total, one Cancel and one end.
class OpenBatch : public std::enable_shared_from_this<OpenBatch>
{
public:
    enum class Mode
    {
        Open,
        /// The objects take the place of the whole scene, which belongs to the file from then on.
        Scene,
        /// The objects take the place of those that the file was opened to before.
        Reload,
        /// The same, and what is kept of the file's former loads is forgotten.
        LoadAnew
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
        std::optional<LoadResult> result;
    };

    explicit OpenBatch( const std::vector<std::filesystem::path>& files, Mode mode = Mode::Open );

    /// Reads one file after the other. Blocks; returns when all are read, or soon after it was canceled.
    void run( const Bar& bar );
    /// The same, while those whose format can do that are loaded side by side.
    void runSideBySide( const Bar& bar );
    /// Any thread.
    void cancel();
    [[nodiscard]] bool isCanceled() const;

    [[nodiscard]] Mode mode() const { return mode_; }
    [[nodiscard]] size_t size() const { return files_.size(); }
    /// How many of the files `runSideBySide` loads side by side.
    [[nodiscard]] size_t sideBySideCount() const;
    /// Before and after a run.
    [[nodiscard]] std::vector<File>& files() { return files_; }

private:
    void begin_( size_t index );
    void read_( size_t index, const Bar& bar );
    void store_( size_t index, LoadResult result );
    [[nodiscard]] float setFraction_( size_t index, float fraction );
    void startLoads_( std::deque<size_t>& waiting );
    void startLoad_( size_t index, const std::shared_ptr<AsyncLoad>& load );
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
    size_t loading_ = 0;
};

} // namespace VX::App
