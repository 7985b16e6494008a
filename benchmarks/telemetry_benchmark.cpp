/// What statistics and the welcome window cost in a frame, and the memory of a million actions that wait.
#include <AppSetup.h>

#include <VXOrvanta/shell/OrvantaConfig.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/window/Window.h>

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <unistd.h>

namespace
{

using namespace VX;

constexpr const char* cName = "Tool Activated: Select Primitives (long)"; // 40 characters

void logAction( benchmark::State& state )
{
    // As many as a busy minute brings; emptying the queue belongs to it.
    constexpr int cActions = 100;
    SessionLogs::clearSessionId();
    for ( auto _ : state )
    {
        for ( int i = 0; i < cActions; ++i )
            SessionLogs::logAction( cName );
        SessionLogs::clearSessionId();
    }
    state.counters["each"] = benchmark::Counter(
        double( state.iterations() ) * cActions, benchmark::Counter::kIsRate | benchmark::Counter::kInvert );
}

/// A session is open and actions wait, but the minute is not over.
void flushWhenNothingIsDue( benchmark::State& state )
{
    SessionLogs::requestSessionId( "a@b.c" );
    for ( int i = 0; i < 4; ++i )
        getViewerInstance().step( 0 );
    SessionLogs::logAction( cName );
    for ( auto _ : state )
        SessionLogs::flushIfNeeded( false );
}

void flushWithoutASession( benchmark::State& state )
{
    SessionLogs::clearSessionId();
    for ( auto _ : state )
        SessionLogs::flushIfNeeded( false );
}

void buildFrames( benchmark::State& state, bool welcome )
{
    auto& menu = *OrvantaRibbonMenu::instance();
    auto config = menu.getOrvantaMenuConfig();
    config.drawWelcomeWindow = welcome;
    menu.setOrvantaMenuConfig( config );
    for ( auto _ : state )
    {
        getViewerInstance().window()->newImGuiFrame();
        ImGui::NewFrame();
        menu.draw();
        ImGui::Render();
    }
    state.counters["vertices"] = ImGui::GetDrawData()->TotalVtxCount;
}

void menuWithTheWelcomeWindow( benchmark::State& state )
{
    buildFrames( state, true );
}

void menuWithoutIt( benchmark::State& state )
{
    buildFrames( state, false );
}

BENCHMARK( flushWhenNothingIsDue );
BENCHMARK( flushWithoutASession );
BENCHMARK( logAction );
BENCHMARK( menuWithTheWelcomeWindow )->Unit( benchmark::kMicrosecond );
BENCHMARK( menuWithoutIt )->Unit( benchmark::kMicrosecond );

size_t residentBytes()
{
    std::ifstream in( "/proc/self/statm" );
    size_t total = 0, resident = 0;
    in >> total >> resident;
    return resident * size_t( ::sysconf( _SC_PAGESIZE ) );
}

std::optional<Json::Value> answer( const WebRequestData& request )
{
    if ( request.logName == "signInToken" )
        return ScriptedTransport::response( 200, R"({"AuthenticationResult":{"AccessToken":"a"}})" );
    if ( request.logName == "requestSessionId" )
        return ScriptedTransport::response( 200, R"({"sessionId":1})" );
    return ScriptedTransport::response( 200, "{}" );
}

} // namespace

int main( int argc, char** argv )
{
    const auto settings = std::filesystem::temp_directory_path() / "orvanta-telemetry-benchmark";
    ::setenv( "XDG_CONFIG_HOME", settings.c_str(), 1 );
    std::filesystem::create_directories( settings / "Orvanta/Token" );
    std::ofstream( settings / "Orvanta/Token/.token" ) << R"({"login":"a@b.c","token":"t","endpoint":"e"})";
    std::ofstream( settings / "Orvanta/config.json" ) << R"({"telemetryDisclaimerModalShowed":0})";
    setWebTransport( std::make_shared<ScriptedTransport>( &answer ) );
    App::AppSetup setup( App::builtInConfig() );
    LaunchParams params;
    params.windowless = true;
    params.appName = "Orvanta";
    if ( !getViewerInstance().start( params, setup ) )
        return 1;
    for ( int i = 0; i < 20; ++i )
        getViewerInstance().step( 0 );
    SessionLogs::clearSessionId();
    const size_t before = residentBytes();
    for ( int i = 0; i < 1'000'000; ++i )
        SessionLogs::logAction( cName );
    std::printf( "a million waiting actions: %zu MiB\n", ( residentBytes() - before ) >> 20 );
    SessionLogs::clearSessionId();
    benchmark::Initialize( &argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    getViewerInstance().stop();
    std::filesystem::remove_all( settings );
}
