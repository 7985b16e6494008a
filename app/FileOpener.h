#pragma once

#include <VXMesh/formats/LoadedObjects.h>

#include <boost/signals2/connection.hpp>
#include <tl/expected.hpp>

#include <atomic>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace VX::App
{

inline constexpr const char* cBackgroundImportKey = "importStepInBackground";

/// Makes STEP files a format like any other, read through the conversion service. Call it once, before the viewer
/// starts.
void registerStepFormat();

/// Whether a file is a STEP file by its name.
[[nodiscard]] bool isStepFile( const std::filesystem::path& file );

/// Opens files into the viewer's scene: STEP files through the conversion service, others by the framework's readers.
///
/// One file is opened under a progress bar. Several STEP files at once, or all of them where the user prefers it, are
/// converted side by side in the background, and a notification tells when each is ready. While nobody is signed in
/// STEP files wait: the conversion service would refuse them. UI thread.
class FileOpener
{
public:
    /// What became of one file; the error is a text for the user.
    using Result = tl::expected<LoadedObjects, std::string>;

    /// Who converts STEP files: the service, or this machine, under the progress bar and for anybody.
    enum class StepConversion
    {
        ByService,
        Here
    };

    explicit FileOpener( StepConversion conversion = StepConversion::ByService );
    ~FileOpener();

    void open( const std::vector<std::filesystem::path>& files );

    /// Files that are still on their way.
    [[nodiscard]] size_t pending() const { return pending_; }
    /// STEP files that wait until somebody has signed in.
    [[nodiscard]] size_t waitingForSignIn() const { return waitingForSignIn_.size(); }

    /// Called with each failure instead of showing it.
    std::function<void( const std::string& )> onError;
    /// Called when a file's objects are in the scene.
    std::function<void( const std::filesystem::path& )> onOpened;

private:
    void openWaiting_();
    void openNext_();
    void openUnderProgressBar_( const std::filesystem::path& file );
    void openInBackground_( const std::filesystem::path& file );
    void finish_( const std::filesystem::path& file, Result result, bool background );
    void addToScene_( const std::filesystem::path& file, LoadedObjects objects, bool background );
    void showError_( const std::filesystem::path& file, const std::string& text, bool background );

    StepConversion conversion_;
    std::deque<std::filesystem::path> queue_;
    std::vector<std::filesystem::path> waitingForName_;
    std::vector<std::filesystem::path> waitingForSignIn_;
    boost::signals2::scoped_connection frames_;
    /// Names of files in conversion: two of one name share their working files and must not overlap.
    std::set<std::filesystem::path> converting_;
    size_t pending_ = 0;
    std::shared_ptr<std::atomic<bool>> closing_;
};

} // namespace VX::App
