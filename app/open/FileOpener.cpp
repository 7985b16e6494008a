#include "open/FileOpener.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/scene/ObjectVolume.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/menu/UnsavedWork.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/work/ProgressBar.h>

#include <algorithm>
#include <utility>

namespace VX::App
{
namespace
{

bool hasVoxels( const std::vector<std::shared_ptr<Object>>& objects )
{
    return std::any_of( objects.begin(), objects.end(),
        []( const auto& object )
        {
            bool found = false;
            forEachObject( *object,
                [&]( const Object& each ) { found = found || dynamic_cast<const ObjectVolume*>( &each ) != nullptr; } );
            return found;
        } );
}

FileOpener* sInstance = nullptr;

bool mustSignInFirst()
{
    const auto menu = OrvantaRibbonMenu::instance();
    return menu && menu->isAuthEnabled() && UserInfo::getAccessToken().empty();
}

bool needsSignIn( const std::filesystem::path& file )
{
    const auto* format = FileFormats::find( file );
    return format && format->needsSignIn && format->needsSignIn( file );
}

std::string titleOf( OpenBatch& batch )
{
    if ( batch.size() == 1 )
        return utf8string( batch.files().front().path.filename() );
    return std::to_string( batch.size() ) + " files";
}

bool belongsInBackground( const OpenBatch& batch )
{
    const auto count = batch.sideBySideCount();
    return count > 1 || ( count == 1 && Config::instance().getBool( cBackgroundImportKey, false ) );
}

/// A batch that waits for answers asks its job nothing meanwhile.
void giveUp( const Job& job, OpenBatch& batch )
{
    job.cancel();
    batch.cancel();
}

/// Whether what is read takes the place of what the same files were opened to before.
bool reopens( const OpenBatch& batch )
{
    return batch.mode() == OpenBatch::Mode::Reload || batch.mode() == OpenBatch::Mode::LoadAnew;
}

} // namespace

FileOpener::FileOpener()
    : watch_( [this]( const std::filesystem::path& file ) { later_( [this, file] { onChangedFile_( file ); } ); } )
{
    sInstance = this;
    saved_ = sceneDocument().savedSignal.connect(
        [this]( const std::filesystem::path& file ) { opened_.noteWritten( fullPath( file ) ); } );
}

FileOpener::~FileOpener()
{
    if ( shown_ )
        shown_->job.cancel();
    for ( const auto& background : backgrounds_ )
        giveUp( background.job, *background.batch );
    if ( sInstance == this )
        sInstance = nullptr;
}

FileOpener* FileOpener::instance()
{
    return sInstance;
}

void FileOpener::later_( std::function<void()> command )
{
    CommandLoop::appendCommand(
        [life = life_.watch(), command = std::move( command )]
        {
            if ( !life.expired() )
                command();
        } );
}

void FileOpener::openWaiting_()
{
    if ( waitingForSignIn_.empty() || mustSignInFirst() )
        return;
    signInFrames_.disconnect();
    open( std::exchange( waitingForSignIn_, {} ) );
}

void FileOpener::open( const std::vector<std::filesystem::path>& files )
{
    const auto ready = mustSignInFirst() ? withoutWaiting_( files ) : files;
    if ( ready.size() == 1 && SceneDocument::isSceneFile( ready.front() ) )
        return openScene_( ready.front() );
    if ( !ready.empty() )
        start_( std::make_shared<OpenBatch>( ready ) );
}

std::vector<std::filesystem::path> FileOpener::withoutWaiting_( const std::vector<std::filesystem::path>& files )
{
    std::vector<std::filesystem::path> ready;
    std::partition_copy(
        files.begin(), files.end(), std::back_inserter( waitingForSignIn_ ), std::back_inserter( ready ), needsSignIn );
    // A sign-in draws frames, and nothing else can end the wait.
    if ( !waitingForSignIn_.empty() )
        signInFrames_ = getViewerInstance().perFrameSignal.connect( [this] { openWaiting_(); } );
    return ready;
}

void FileOpener::openScene_( const std::filesystem::path& file )
{
    UnsavedWork::leave(
        [this, file, life = life_.watch()]
        {
            if ( !life.expired() )
                start_( std::make_shared<OpenBatch>( std::vector{ file }, OpenBatch::Mode::Scene ) );
        } );
}

void FileOpener::reopen( const std::vector<std::filesystem::path>& files, OpenBatch::Mode mode )
{
    if ( !files.empty() )
        start_( std::make_shared<OpenBatch>( files, mode ) );
}

void FileOpener::start_( const Batch& batch )
{
    pending_ += batch->size();
    if ( belongsInBackground( *batch ) )
        return openInBackground_( batch );
    dropCanceled_();
    queue_.push_back( batch );
    openNext_();
}

/// Cancel is meant for all that wait behind what is shown.
void FileOpener::dropCanceled_()
{
    if ( !shown_ || !shown_->job.isCanceled() )
        return;
    shown_.reset();
    for ( const auto& batch : std::exchange( queue_, {} ) )
        pending_ -= batch->size();
}

void FileOpener::openNext_()
{
    barFrames_.disconnect();
    if ( queue_.empty() )
        return;
    if ( ProgressBar::isOrdered() )
    {
        // The bar draws frames while it is shown, and one more when it goes.
        barFrames_ = getViewerInstance().perFrameSignal.connect(
            [this]
            {
                if ( !ProgressBar::isOrdered() && !shown_ )
                    later_( [this] { openNext_(); } );
            } );
        return;
    }
    auto batch = std::move( queue_.front() );
    queue_.pop_front();
    openUnderProgressBar_( batch );
}

void FileOpener::openUnderProgressBar_( const Batch& batch )
{
    const auto work = [batch]( const Job& job ) -> tl::expected<void, std::string>
    {
        batch->run( { job.progress(), [&job]( const std::string& stage ) { job.setTask( stage ); } } );
        return {};
    };
    const auto ended = [this, life = life_.watch(), batch]( const Job::Outcome& outcome )
    {
        if ( !life.expired() )
            endShown_( batch, outcome );
    };
    if ( const auto job = ProgressBar::start( "Opening " + titleOf( *batch ), work, ended ) )
        shown_ = Shown{ batch, *job };
    else // the program ends
        pending_ -= batch->size();
}

void FileOpener::endShown_( const Batch& batch, const Job::Outcome& outcome )
{
    pending_ -= batch->size();
    if ( outcome.end != Job::End::Canceled )
    {
        shown_.reset();
        finish_( batch, outcome, false );
    }
    else if ( shown_ && shown_->batch == batch )
        dropCanceled_();
    openNext_();
}

void FileOpener::openInBackground_( const Batch& batch )
{
    const auto work = [batch]( const Job& job ) -> tl::expected<void, std::string>
    {
        batch->runSideBySide( { job.progress(), [&job]( const std::string& stage ) { job.setTask( stage ); } } );
        return {};
    };
    const auto ended = [this, life = life_.watch(), batch]( const Job::Outcome& outcome )
    {
        if ( !life.expired() )
            endBackground_( batch, outcome );
    };
    const auto job = Job::start( "Opening " + titleOf( *batch ), work, ended );
    if ( !job ) // the program ends
    {
        pending_ -= batch->size();
        return;
    }
    const auto first = batch->size() == 1 ? "Converting" : "0 of " + titleOf( *batch ) + " are ready";
    backgrounds_.push_back( { batch, *job, "opening " + std::to_string( ++batches_ ), first } );
    showProgress_( backgrounds_.back() );
    // The jobs wake the loop when there is something to tell.
    noteFrames_ = getViewerInstance().perFrameSignal.connect( [this] { tellProgress_(); } );
}

void FileOpener::tellProgress_()
{
    for ( auto& background : backgrounds_ )
    {
        auto stage = background.job.task();
        const float fraction = background.job.fraction();
        if ( stage.empty() || ( stage == background.stage && fraction == background.fraction ) )
            continue;
        background.stage = std::move( stage );
        background.fraction = fraction;
        showProgress_( background );
    }
}

void FileOpener::showProgress_( const Background& background )
{
    const auto& menu = getViewerInstance().getMenuPlugin();
    if ( !menu || background.job.isCanceled() )
        return;
    const auto cancel = [job = background.job, weak = std::weak_ptr( background.batch )]
    {
        if ( const auto alive = weak.lock() )
            giveUp( job, *alive );
    };
    RibbonNotification note{ .header = background.job.name(),
        .text = background.stage,
        .buttonName = "Cancel",
        .onButtonClick = cancel,
        .lifeTimeSec = 0 };
    note.key = background.key;
    note.progress = background.fraction;
    menu->pushNotification( note );
}

void FileOpener::endBackground_( const Batch& batch, const Job::Outcome& outcome )
{
    const auto it = std::find_if(
        backgrounds_.begin(), backgrounds_.end(), [&]( const auto& background ) { return background.batch == batch; } );
    if ( it == backgrounds_.end() )
        return;
    if ( const auto& menu = getViewerInstance().getMenuPlugin() )
        menu->removeNotification( it->key );
    backgrounds_.erase( it );
    if ( backgrounds_.empty() )
        noteFrames_.disconnect();
    pending_ -= batch->size();
    if ( outcome.end != Job::End::Canceled )
        finish_( batch, outcome, true );
}

void FileOpener::finish_( const Batch& batch, const Job::Outcome& outcome, bool background )
{
    for ( auto& file : batch->files() )
        if ( !file.result )
            file.result = tl::unexpected( outcome.error );
    addToScene_( *batch );
    showNotice_( *batch, background );
    std::vector<OpenFailure> failures;
    for ( const auto& file : batch->files() )
        if ( !*file.result )
            failures.push_back( { file.path, file.result->error() } );
    if ( !failures.empty() )
        showFailures_( failures, batch->size(), background );
    if ( !onOpened )
        return;
    for ( const auto& file : batch->files() )
        if ( *file.result )
            onOpened( file.path );
}

void FileOpener::addToScene_( OpenBatch& batch )
{
    SceneEdits::Objects objects, former;
    std::string last;
    for ( const auto& file : batch.files() )
    {
        if ( !*file.result )
            continue;
        const auto path = fullPath( file.path );
        if ( reopens( batch ) )
            for ( auto& object : opened_.objectsOf( path ) )
                former.push_back( std::move( object ) );
        const auto& loaded = ( *file.result )->objects;
        objects.insert( objects.end(), loaded.begin(), loaded.end() );
        opened_.add( path, file.identity, loaded );
        watch_.watch( path );
        last = utf8string( file.path.filename() );
    }
    if ( last.empty() )
        return;
    auto& viewer = getViewerInstance();
    if ( reopens( batch ) )
        return SceneEdits::replace( "Reload File", former, objects );
    // Without the file's name: what is done is reported by this text.
    if ( batch.mode() == OpenBatch::Mode::Scene )
        sceneDocument().open( batch.files().front().path, objects );
    else
        SceneEdits::addOpened( "Open File", objects );
    if ( auto* menu = currentRibbonMenu(); menu && hasVoxels( objects ) )
        menu->startTool( "Slices" );
    viewer.fitScene();
    if ( batch.mode() == OpenBatch::Mode::Open )
        viewer.viewerTitle()->setSceneName( last );
}

void FileOpener::showNotice_( OpenBatch& batch, bool background )
{
    const auto& menu = getViewerInstance().getMenuPlugin();
    std::vector<std::filesystem::path> files;
    std::vector<std::string> warnings;
    for ( const auto& file : batch.files() )
        if ( *file.result )
        {
            files.push_back( file.path );
            warnings.push_back( ( *file.result )->warnings );
        }
    const auto notice = openedNotice( files, warnings, batch.size(), background || batch.size() > 1 );
    if ( menu && !notice.header.empty() )
        menu->pushNotification( notice );
}

void FileOpener::showFailures_( const std::vector<OpenFailure>& failures, size_t count, bool background )
{
    if ( onError )
    {
        for ( const auto& failure : failures )
            onError( failureText( failure ) );
        return;
    }
    const auto menu = getViewerInstance().getMenuPlugin();
    if ( !menu )
        return;
    std::vector<std::filesystem::path> again;
    for ( const auto& failure : failures )
        if ( mayPass( failure ) )
            again.push_back( failure.file );
    const auto text = failuresText( failures, count );
    const auto retry = [this, again, life = life_.watch()]
    {
        if ( !life.expired() )
            open( again );
    };
    const auto show = [weak = std::weak_ptr( menu ), text, again, retry]
    {
        const auto alive = weak.lock();
        if ( alive && again.empty() )
            alive->showModalMessage( text, NotificationType::Error );
        else if ( alive )
            alive->showModalMessageWithButton( text, NotificationType::Error, "Retry", retry );
    };
    if ( !background )
        return show();
    const bool single = failures.size() == 1;
    RibbonNotification note{ .header = utf8string( failures.front().file.filename() ),
        .text = text,
        .type = NotificationType::Error,
        .lifeTimeSec = 20 };
    if ( !single )
    {
        note.header = text.substr( 0, text.find( '\n' ) );
        note.text.clear();
        note.buttonName = "Details";
        note.onButtonClick = show;
        note.lifeTimeSec = 0;
    }
    else if ( !again.empty() )
    {
        note.buttonName = "Retry";
        note.onButtonClick = retry;
    }
    menu->pushNotification( note );
}

void FileOpener::onChangedFile_( const std::filesystem::path& file )
{
    if ( opened_.objectsOf( file ).empty() )
        return watch_.unwatch( file );
    const auto& menu = getViewerInstance().getMenuPlugin();
    if ( !menu || !opened_.takeChange( file ) )
        return;
    const auto reload = [this, file, life = life_.watch()]
    {
        if ( !life.expired() )
            reopen( { file }, OpenBatch::Mode::Reload );
    };
    RibbonNotification note{ .header = utf8string( file.filename() ),
        .text = "The file has changed on the disk",
        .buttonName = "Reload",
        .onButtonClick = reload,
        .lifeTimeSec = 0 };
    note.key = "changed " + utf8string( file );
    menu->pushNotification( note );
}

std::vector<std::filesystem::path> FileOpener::selectedFiles(
    const std::function<bool( const std::filesystem::path& )>& isOfKind ) const
{
    std::vector<std::filesystem::path> out;
    const auto& selected = SceneCache::getAllObjects<Object, ObjectSelectivityType::Selected>();
    for ( const auto& object : selected )
        if ( const auto* file = opened_.fileOf( *object );
            file && isOfKind( *file ) && std::find( out.begin(), out.end(), *file ) == out.end() )
            out.push_back( *file );
    if ( !selected.empty() )
        return out;
    for ( auto& file : opened_.inScene() )
        if ( isOfKind( file ) )
            out.push_back( std::move( file ) );
    return out.size() == 1 ? out : std::vector<std::filesystem::path>{};
}

} // namespace VX::App
