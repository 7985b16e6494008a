#include "FileOpener.h"

#include "ImportLeftovers.h"
#include "StepImport.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/CommandLoop.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/history/SceneEdits.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/work/ProgressBar.h>

#include <algorithm>
#include <utility>

namespace VX::App
{
namespace
{

std::string quoted( const std::filesystem::path& file )
{
    return "\"" + utf8string( file.filename() ) + "\"";
}

const std::vector<std::string>& stepExtensions()
{
    static const std::vector<std::string> sExtensions{ ".step", ".stp" };
    return sExtensions;
}

void notify(
    ImGuiMenu& menu, const std::filesystem::path& file, const std::string& text, NotificationType type, float seconds )
{
    menu.pushNotification(
        { .header = utf8string( file.filename() ), .text = text, .type = type, .lifeTimeSec = seconds } );
}

bool mustSignInFirst()
{
    const auto menu = OrvantaRibbonMenu::instance();
    return menu && menu->isAuthEnabled() && UserInfo::getAccessToken().empty();
}

} // namespace

void registerStepFormat()
{
    FileFormats::add(
        { "STEP model", stepExtensions(), []( const std::filesystem::path& file, const ProgressCallback& progress )
            { return importStep( file, progress ); } } );
    ConverterService::setFolderObserver( &ImportLeftovers::noteFolder );
}

bool isStepFile( const std::filesystem::path& file )
{
    const auto& known = stepExtensions();
    return std::find( known.begin(), known.end(), toLower( utf8string( file.extension() ) ) ) != known.end();
}

FileOpener::FileOpener( StepConversion conversion )
    : conversion_( conversion )
    , closing_( std::make_shared<std::atomic<bool>>( false ) )
{
}

void FileOpener::openWaiting_()
{
    if ( waitingForSignIn_.empty() || mustSignInFirst() )
        return;
    frames_.disconnect();
    open( std::exchange( waitingForSignIn_, {} ) );
}

FileOpener::~FileOpener()
{
    *closing_ = true;
}

void FileOpener::open( const std::vector<std::filesystem::path>& files )
{
    if ( mustSignInFirst() && std::any_of( files.begin(), files.end(), isStepFile ) )
    {
        std::vector<std::filesystem::path> others;
        std::partition_copy( files.begin(), files.end(), std::back_inserter( waitingForSignIn_ ),
            std::back_inserter( others ), isStepFile );
        // A sign-in draws frames, and nothing else can end the wait.
        frames_ = getViewerInstance().perFrameSignal.connect( [this] { openWaiting_(); } );
        return open( others );
    }
    const auto steps = std::count_if( files.begin(), files.end(), isStepFile );
    const bool background = conversion_ == StepConversion::ByService &&
                            ( steps > 1 || Config::instance().getBool( cBackgroundImportKey, false ) );
    for ( const auto& file : files )
    {
        ++pending_;
        if ( background && isStepFile( file ) )
            openInBackground_( file );
        else
            queue_.push_back( file );
    }
    openNext_();
}

void FileOpener::openNext_()
{
    if ( queue_.empty() || ProgressBar::isOrdered() )
        return;
    const auto file = std::move( queue_.front() );
    queue_.pop_front();
    openUnderProgressBar_( file );
}

void FileOpener::openUnderProgressBar_( const std::filesystem::path& file )
{
    // The token dies with a canceled job, whose file then no longer counts as pending.
    struct Token
    {
        explicit Token( std::function<void()> canceled )
            : onCanceled( std::move( canceled ) )
        {
        }
        Token( const Token& ) = delete;
        Token& operator=( const Token& ) = delete;
        ~Token()
        {
            if ( onCanceled )
                onCanceled();
        }
        std::function<void()> onCanceled;
    };
    const auto canceled = [this, closing = closing_]
    {
        CommandLoop::appendCommand(
            [this, closing]
            {
                if ( *closing )
                    return;
                --pending_;
                openNext_();
            } );
    };
    auto token = std::make_shared<Token>( canceled );
    ProgressBar::orderWithMainThreadPostProcessing( "Opening " + utf8string( file.filename() ),
        [this, file, token]() -> ProgressBar::PostProcessing
        {
            auto result = std::make_shared<Result>( loadObjectFromFile( file, ProgressBar::jobProgress() ) );
            return [this, file, token, result]
            {
                token->onCanceled = nullptr;
                finish_( file, std::move( *result ), false );
            };
        } );
}

void FileOpener::openInBackground_( const std::filesystem::path& file )
{
    if ( !converting_.insert( file.filename() ).second )
    {
        waitingForName_.push_back( file );
        return;
    }
    const auto deliver = [this, file, closing = closing_]( Result result )
    {
        auto shared = std::make_shared<Result>( std::move( result ) );
        CommandLoop::appendCommand(
            [this, file, closing, shared]
            {
                if ( *closing )
                    return;
                converting_.erase( file.filename() );
                finish_( file, std::move( *shared ), true );
            } );
    };
    if ( auto problem = fileProblem( file ); !problem.empty() )
        return deliver( tl::unexpected( std::move( problem ) ) );
    ConverterService::fromStep( file, deliver, [closing = closing_]( float ) { return !*closing; } );
}

void FileOpener::finish_( const std::filesystem::path& file, Result result, bool background )
{
    --pending_;
    if ( result )
        addToScene_( file, std::move( *result ), background );
    else
        showError_( file, result.error(), background );
    const auto next = std::find_if( waitingForName_.begin(), waitingForName_.end(),
        [this]( const auto& waiting ) { return !converting_.contains( waiting.filename() ); } );
    if ( next != waitingForName_.end() )
    {
        const auto waiting = *next;
        waitingForName_.erase( next );
        openInBackground_( waiting );
    }
    openNext_();
}

void FileOpener::addToScene_( const std::filesystem::path& file, LoadedObjects objects, bool background )
{
    auto& viewer = getViewerInstance();
    // Without the file's name: what is done is reported by this text.
    SceneEdits::add( "Open File", objects.objects );
    viewer.fitScene();
    viewer.viewerTitle()->setSceneName( utf8string( file.filename() ) );
    if ( const auto& menu = viewer.getMenuPlugin() )
    {
        if ( background )
            notify( *menu, file, "The file is open", NotificationType::Info, 6 );
        if ( !objects.warnings.empty() )
            notify( *menu, file, objects.warnings, NotificationType::Warning, 12 );
    }
    if ( onOpened )
        onOpened( file );
}

void FileOpener::showError_( const std::filesystem::path& file, const std::string& text, bool background )
{
    const bool namesFile = text.find( utf8string( file.filename() ) ) != std::string::npos;
    const auto message = namesFile ? text : "Cannot open " + quoted( file ) + ": " + text;
    if ( onError )
        return onError( message );
    const auto& menu = getViewerInstance().getMenuPlugin();
    if ( menu && background )
        notify( *menu, file, text, NotificationType::Error, 20 );
    else if ( menu )
        menu->showModalMessage( message, NotificationType::Error );
}

} // namespace VX::App
