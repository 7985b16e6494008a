/// The interface of the whole menu over a scene of 10 000 objects, edits of that scene, and applying a configuration.
#include <AboutTool.h>
#include <AppSetup.h>
#include <step/StepTools.h>

#include "support/TestMeshes.h"

#include <VXMesh/scene/SimpleShapes.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/window/OffscreenWindow.h>

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <cstdlib>

namespace
{

using namespace VX;

constexpr size_t cObjects = 10'000;

Viewer& viewer()
{
    return getViewerInstance();
}

OrvantaRibbonMenu& menu()
{
    return *OrvantaRibbonMenu::instance();
}

void press( const char* tool )
{
    menu().emitItemPressed( RibbonSchemaHolder::findItem( tool ) );
}

/// Builds one frame of the interface and draws nothing.
void buildFrame()
{
    viewer().window()->newImGuiFrame();
    ImGui::NewFrame();
    menu().draw();
    ImGui::Render();
}

void interfaceOfTheWholeMenu( benchmark::State& state )
{
    for ( auto _ : state )
        buildFrame();
    state.counters["objects"] = double( viewer().sceneRoot().children().size() );
    state.counters["vertices"] = ImGui::GetDrawData()->TotalVtxCount;
}

void interfaceWhenTheSceneHasChanged( benchmark::State& state )
{
    auto& object = *viewer().sceneRoot().children().front();
    for ( auto _ : state )
    {
        object.select( !object.isSelected() );
        buildFrame();
    }
}

/// A frame of a turning scan of a million triangles, drawn to the end.
void turnMillionTriangles( benchmark::State& state )
{
    const auto scan = std::make_shared<ObjectMesh>();
    scan->setMesh( std::make_shared<Mesh>( Testing::wavySheet( 707 ) ) );
    const auto shown = viewer().sceneRoot().children();
    for ( const auto& object : shown )
        object->setVisible( false );
    viewer().sceneRoot().addChild( scan );
    viewer().fitScene();
    for ( auto _ : state )
    {
        viewer().camera().orbit( { 5, 0 } );
        viewer().incrementForceRedrawFrames( 1 );
        viewer().step( 0 );
    }
    state.counters["triangles"] = double( scan->mesh()->triangles.size() );
    scan->detach();
    for ( const auto& object : shown )
        object->setVisible( true );
}

void selectAll( benchmark::State& state )
{
    for ( auto _ : state )
    {
        press( "Select all" );
        state.PauseTiming();
        press( "Clear Selections" );
        state.ResumeTiming();
    }
}

/// Doing and taking back, with the frame that follows each.
void doAndUndo( benchmark::State& state, const char* tool )
{
    for ( auto _ : state )
    {
        state.PauseTiming();
        press( "Select all" );
        buildFrame();
        state.ResumeTiming();
        press( tool );
        buildFrame();
        press( "Undo" );
        buildFrame();
    }
    press( "Clear Selections" );
}

void hideAllAndUndo( benchmark::State& state )
{
    doAndUndo( state, "Hide selected" );
}

void deleteAllAndUndo( benchmark::State& state )
{
    doAndUndo( state, "Delete Selection" );
}

void applyConfigurationAndFonts( benchmark::State& state )
{
    const auto config = App::builtInConfig();
    auto& fonts = menu().fontManager();
    for ( auto _ : state )
    {
        applyOrvantaConfig( createOrvantaConfigFromJson( config ) );
        fonts.loadAllFonts( 1 );
    }
}

void fillScene()
{
    const auto mesh = std::make_shared<Mesh>( SimpleShapes::makeCuboid( { 1, 1, 1 } ) );
    SceneEdits::Objects objects;
    for ( size_t i = 0; i < cObjects; ++i )
    {
        auto object = std::make_shared<ObjectMesh>();
        object->setName( "Part " + std::to_string( i ) );
        object->setMesh( mesh );
        object->setXf( { {}, { float( i % 100 ) * 2, float( i / 100 ) * 2, 0 } } );
        objects.push_back( std::move( object ) );
    }
    SceneEdits::add( "Fill", objects );
}

BENCHMARK( interfaceOfTheWholeMenu )->Unit( benchmark::kMicrosecond );
BENCHMARK( interfaceWhenTheSceneHasChanged )->Unit( benchmark::kMicrosecond );
BENCHMARK( turnMillionTriangles )->Unit( benchmark::kMillisecond )->UseRealTime();
BENCHMARK( selectAll )->Unit( benchmark::kMillisecond );
BENCHMARK( hideAllAndUndo )->Unit( benchmark::kMillisecond );
BENCHMARK( deleteAllAndUndo )->Unit( benchmark::kMillisecond );
BENCHMARK( applyConfigurationAndFonts )->Unit( benchmark::kMillisecond );

} // namespace

int main( int argc, char** argv )
{
    const auto settings = std::filesystem::temp_directory_path() / "orvanta-menu-benchmark";
    ::setenv( "XDG_CONFIG_HOME", settings.c_str(), 1 );
    setWebTransport( std::make_shared<ScriptedTransport>() );
    App::registerAboutTool();
    App::registerImportSetting();
    App::AppSetup setup( App::builtInConfig() );
    LaunchParams params;
    params.windowless = true;
    params.width = 1920;
    params.height = 1080;
    if ( !viewer().start( params, setup ) )
        return 1;
    fillScene();
    for ( const char* header : { "One", "Two", "Three" } )
        menu().pushNotification( { .header = header, .text = "Something has happened", .lifeTimeSec = 0 } );
    buildFrame();
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    viewer().stop();
    std::filesystem::remove_all( settings );
}
