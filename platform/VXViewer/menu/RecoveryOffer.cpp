#include <VXViewer/menu/RecoveryOffer.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Path.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/dialogs/QuestionDialog.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/scene/Autosave.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/scene/SceneRoot.h>
#include <VXViewer/work/ProgressBar.h>

#include <ctime>
#include <deque>

namespace VX
{
namespace
{

/// Those that were not answered yet; what is left of them at the end stays for the next start.
using Slots = std::shared_ptr<std::deque<RecoverySlot>>;

std::string shownTime( int64_t seconds )
{
    const auto time = std::time_t( seconds );
    std::tm local{};
    char text[64] = "";
    if ( ::localtime_r( &time, &local ) )
        (void)std::strftime( text, sizeof text, "%e %B %Y, %H:%M", &local );
    return text;
}

std::string textOf( const RecoveryInfo& info )
{
    constexpr size_t cLongest = 60;
    const auto name = utf8string( info.file.filename() );
    const auto scene = name.empty() || name.size() > cLongest ? std::string( "A scene" ) : "\"" + name + "\"";
    return scene + " was not saved when the program ended. This is what was kept of it on " + shownTime( info.time ) +
           ".";
}

Autosave* currentAutosave()
{
    auto* menu = currentMenu();
    return menu ? menu->autosave() : nullptr;
}

void takeOver( RecoverySlot slot, const LoadedObjects& loaded )
{
    const bool alone = sceneRoot().children().empty();
    SceneEdits::add( "Recover", loaded.objects );
    if ( alone )
        sceneDocument().setFile( slot.info().file );
    fitViewToScene();
    if ( auto* autosave = currentAutosave() )
        autosave->adopt( std::move( slot ) );
}

void recover( const Slots& slots )
{
    const auto slot = std::make_shared<RecoverySlot>( std::move( slots->front() ) );
    slots->clear();
    const auto loaded = std::make_shared<LoadedObjects>();
    const auto load = [slot, loaded]( const ProgressCallback& progress )
    {
        return loadObjectFromFile( slot->scene(), progress )
            .map( [&]( LoadedObjects&& objects ) { *loaded = std::move( objects ); } );
    };
    const auto ended = [slot, loaded]( const Job::Outcome& outcome )
    {
        if ( outcome.end == Job::End::Done )
            takeOver( std::move( *slot ), *loaded );
        else if ( outcome.end == Job::End::Failed )
            currentMenu()->showModalMessage( outcome.error, NotificationType::Error );
    };
    if ( ProgressBar::start( "Recovering", [load]( const Job& job ) { return load( job.progress() ); }, ended ) )
        return;
    // Something else stands under the bar.
    const auto result = load( {} );
    ended( result ? Job::Outcome{} : Job::Outcome{ Job::End::Failed, result.error() } );
}

void askAboutFirst( const Slots& slots )
{
    auto* menu = currentMenu();
    if ( slots->empty() || !menu )
        return;
    const auto discard = [slots]
    {
        slots->front().remove();
        slots->pop_front();
        askAboutFirst( slots );
    };
    menu->ask( { .title = "Recover unsaved work?",
        .text = textOf( slots->front().info() ),
        .answers = { { "Recover", [slots] { recover( slots ); } }, { "Discard", discard } },
        .isPatient = true } );
}

} // namespace

void offerRecovery()
{
    const auto* autosave = currentAutosave();
    if ( !autosave )
        return;
    const auto slots = std::make_shared<std::deque<RecoverySlot>>();
    for ( auto& slot : RecoverySlot::takeAbandoned( autosave->folder() ) )
        slots->push_back( std::move( slot ) );
    askAboutFirst( slots );
}

} // namespace VX
