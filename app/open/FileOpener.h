#pragma once

#include "files/FileWatch.h"
#include "open/OpenBatch.h"
#include "open/OpenMessages.h"
#include "open/OpenedFiles.h"

#include <VXViewer/loop/LifeToken.h>
#include <VXViewer/work/Job.h>

#include <boost/signals2/connection.hpp>

#include <deque>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VX::App
{

inline constexpr const char* cBackgroundImportKey = "importStepInBackground";

/// Opens files into the viewer's scene, each as the registry of formats says.
///
/// Files that are opened together are one job, with one Cancel, one step of the history and one note at the end. The
/// job stands under the progress bar. With several files that load side by side, or one where the user prefers it, it
/// runs in the background, and a note with a Cancel button tells how far it is. Files that need a sign-in wait until
/// somebody has signed in. Files that change on the disk while they are open are offered to be opened again. UI thread.
class FileOpener
{
public:
    FileOpener();
    ~FileOpener();
    FileOpener( const FileOpener& ) = delete;
    FileOpener& operator=( const FileOpener& ) = delete;

    /// A scene file by itself takes the place of the scene, after a question where something of that is unsaved; all
    /// others are added to it.
    void open( const std::vector<std::filesystem::path>& files );

    /// Opens files again whose objects are in the scene, in place of these.
    void reopen( const std::vector<std::filesystem::path>& files, OpenBatch::Mode mode );
    /// Files of that kind in the scene that the selection means: those of its objects, or the only one when nothing is
    /// selected.
    [[nodiscard]] std::vector<std::filesystem::path> selectedFiles(
        const std::function<bool( const std::filesystem::path& )>& isOfKind ) const;

    /// Files that are still on their way.
    [[nodiscard]] size_t pending() const { return pending_; }
    /// Files that wait until somebody has signed in.
    [[nodiscard]] size_t waitingForSignIn() const { return waitingForSignIn_.size(); }

    /// The one that exists, or null.
    [[nodiscard]] static FileOpener* instance();

    /// Called with each failure instead of showing it.
    std::function<void( const std::string& )> onError;
    /// Called when a file's objects are in the scene.
    std::function<void( const std::filesystem::path& )> onOpened;

private:
    using Batch = std::shared_ptr<OpenBatch>;
    struct Shown
    {
        Batch batch;
        Job job;
    };
    struct Background
    {
        Batch batch;
        Job job;
        /// Of its note.
        std::string key;
        /// What the note says.
        std::string stage;
        float fraction = 0;
    };

    void openScene_( const std::filesystem::path& file );
    void openWaiting_();
    /// Lets those of the files wait that need a sign-in, and returns the others.
    [[nodiscard]] std::vector<std::filesystem::path> withoutWaiting_( const std::vector<std::filesystem::path>& files );
    void start_( const Batch& batch );
    void openNext_();
    void dropCanceled_();
    void openUnderProgressBar_( const Batch& batch );
    void endShown_( const Batch& batch, const Job::Outcome& outcome );
    void openInBackground_( const Batch& batch );
    void endBackground_( const Batch& batch, const Job::Outcome& outcome );
    void tellProgress_();
    static void showProgress_( const Background& background );
    void finish_( const Batch& batch, const Job::Outcome& outcome, bool background );
    void addToScene_( OpenBatch& batch );
    void showNotice_( OpenBatch& batch, bool background );
    void showFailures_( const std::vector<OpenFailure>& failures, size_t count, bool background );
    void onChangedFile_( const std::filesystem::path& file );
    /// Runs on the UI thread, unless this object has gone until then. Any thread.
    void later_( std::function<void()> command );

    std::deque<Batch> queue_;
    /// The one under the progress bar, also when it was canceled and has not ended.
    std::optional<Shown> shown_;
    std::list<Background> backgrounds_;
    std::vector<std::filesystem::path> waitingForSignIn_;
    boost::signals2::scoped_connection signInFrames_;
    boost::signals2::scoped_connection barFrames_;
    boost::signals2::scoped_connection noteFrames_;
    size_t pending_ = 0;
    size_t batches_ = 0;
    /// For what comes late. It outlives `watch_`, whose thread asks for it.
    LifeToken life_;
    OpenedFiles opened_;
    boost::signals2::scoped_connection saved_;
    FileWatch watch_;
};

} // namespace VX::App
