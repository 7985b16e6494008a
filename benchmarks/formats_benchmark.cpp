/// The native format with a million triangles, STL and PLY with five, and packing of STEP text.
#include "support/TestMeshes.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Zip.h>
#include <VXMesh/scene/VisualObjects.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <fstream>

namespace
{

using namespace VX;

std::shared_ptr<ObjectMesh> sheet( uint32_t n )
{
    auto mesh = std::make_shared<Mesh>();
    for ( uint32_t y = 0; y <= n; ++y )
        for ( uint32_t x = 0; x <= n; ++x )
            mesh->points.push_back(
                { float( x ), float( y ), 10 * std::sin( float( x ) * 0.05f ) * std::cos( float( y ) * 0.07f ) } );
    for ( uint32_t y = 0; y < n; ++y )
        for ( uint32_t x = 0; x < n; ++x )
        {
            const uint32_t a = y * ( n + 1 ) + x;
            mesh->triangles.push_back( { a, a + 1, a + n + 1 } );
            mesh->triangles.push_back( { a + 1, a + n + 2, a + n + 1 } );
        }
    mesh->normals = computeVertexNormals( *mesh );
    auto object = std::make_shared<ObjectMesh>();
    object->setMesh( std::move( mesh ) );
    return object;
}

std::filesystem::path millionTriangles()
{
    const auto file = std::filesystem::temp_directory_path() / "orvanta-million.vxu";
    const std::vector<std::shared_ptr<Object>> roots{ sheet( 707 ) };
    if ( !saveVxu( file, roots ) )
        std::abort();
    return file;
}

void loadMillionTriangles( benchmark::State& state )
{
    const auto file = millionTriangles();
    for ( auto _ : state )
        if ( !loadObjectFromFile( file ) )
            state.SkipWithError( "cannot load" );
    state.counters["MB"] = double( std::filesystem::file_size( file ) ) / 1e6;
}

void loadFiveMillion( benchmark::State& state, const char* name, std::string ( *bytesOf )( const Mesh& ) )
{
    const auto file = std::filesystem::temp_directory_path() / name;
    std::ofstream( file, std::ios::binary ) << bytesOf( *sheet( 1581 )->mesh() );
    for ( auto _ : state )
        if ( !loadObjectFromFile( file ) )
            state.SkipWithError( "cannot load" );
    state.counters["MB"] = double( std::filesystem::file_size( file ) ) / 1e6;
    std::filesystem::remove( file );
}

void writeMillionTriangles( benchmark::State& state )
{
    const std::vector<std::shared_ptr<Object>> roots{ sheet( 707 ) };
    for ( auto _ : state )
        benchmark::DoNotOptimize( writeVxu( roots ) );
}

void packStepText( benchmark::State& state )
{
    const auto folder = std::filesystem::temp_directory_path() / "orvanta-pack";
    std::filesystem::create_directories( folder );
    // Longer than deflate's window, so repeating the file does not make it easier.
    std::ifstream in( ORVANTA_SAMPLES "/drive.step", std::ios::binary );
    const std::string text( std::istreambuf_iterator<char>( in ), {} );
    std::ofstream out( folder / "input", std::ios::binary );
    for ( int i = 0; i < 200; ++i )
        out << text;
    out.close();
    const auto size = double( std::filesystem::file_size( folder / "input" ) );
    const auto zip = std::filesystem::temp_directory_path() / "orvanta-pack.zip";
    for ( auto _ : state )
        if ( !compressZip( zip, folder ) )
            state.SkipWithError( "cannot pack" );
    state.SetBytesProcessed( int64_t( state.iterations() ) * int64_t( size ) );
    state.counters["ratio"] = size / double( std::filesystem::file_size( zip ) );
}

BENCHMARK( loadMillionTriangles )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( loadFiveMillion, stl, "orvanta-five.stl", &Testing::binaryStl )
    ->Unit( benchmark::kMillisecond )
    ->UseRealTime();
BENCHMARK_CAPTURE( loadFiveMillion, ply, "orvanta-five.ply", &Testing::binaryPly )
    ->Unit( benchmark::kMillisecond )
    ->UseRealTime();
BENCHMARK( writeMillionTriangles )->Unit( benchmark::kMillisecond );
BENCHMARK( packStepText )->Unit( benchmark::kMillisecond );

} // namespace

BENCHMARK_MAIN();
