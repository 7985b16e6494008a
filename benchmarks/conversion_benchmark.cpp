/// Conversion of STEP files as the service does it, beside the plain one: one process and all healing.
/// Usage: conversion_benchmark FILE… Fails when a result differs from the plain one by more than a thousandth.
#include "worker/StepReader.h"

#include <VXMesh/scene/VisualObjects.h>

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace VX;

constexpr double cTolerance = 0.001;

/// What is compared of a conversion.
struct Summary
{
    double seconds = -1; ///< negative when it failed
    size_t objects = 0, points = 0, triangles = 0, edges = 0;
    double volume = 0, area = 0;
    Box3f box;
};

void add( Summary& summary, const Object& object )
{
    ++summary.objects;
    if ( const auto* visual = dynamic_cast<const ObjectMesh*>( &object ) )
    {
        const auto& mesh = *visual->mesh();
        summary.points += mesh.points.size();
        summary.triangles += mesh.triangles.size();
        summary.edges += mesh.edges.size();
        summary.volume += computeVolume( mesh );
        summary.area += computeArea( mesh );
        summary.box.include( mesh.box().min );
        summary.box.include( mesh.box().max );
    }
    for ( const auto& child : object.children() )
        add( summary, *child );
}

Summary convert( const std::filesystem::path& file, const Backend::StepOptions& options )
{
    Summary out;
    const auto scratch = std::filesystem::temp_directory_path() / fmt::format( "orvanta-bench-{}", ::getpid() );
    std::filesystem::create_directory( scratch );
    Backend::warmUpStepReader( scratch );
    const auto begin = std::chrono::steady_clock::now();
    const auto objects = Backend::readStep( file, scratch, options );
    const double seconds = std::chrono::duration<double>( std::chrono::steady_clock::now() - begin ).count();
    std::filesystem::remove_all( scratch );
    if ( !objects )
        return out;
    out.seconds = seconds;
    for ( const auto& object : *objects )
        add( out, *object );
    return out;
}

/// In a fresh process, as the service does it.
Summary convertApart( const std::filesystem::path& file, const Backend::StepOptions& options )
{
    Summary out;
    int pipes[2];
    if ( ::pipe( pipes ) != 0 )
        return out;
    std::fflush( stdout ); // or the child prints it again
    const pid_t child = ::fork();
    if ( child == 0 )
    {
        const Summary made = convert( file, options );
        ::_exit( ::write( pipes[1], &made, sizeof made ) == sizeof made ? 0 : 1 );
    }
    ::close( pipes[1] );
    if ( ::read( pipes[0], &out, sizeof out ) != sizeof out )
        out = {};
    ::close( pipes[0] );
    ::waitpid( child, nullptr, 0 );
    return out;
}

double difference( double a, double b )
{
    const double larger = std::max( std::abs( a ), std::abs( b ) );
    return larger > 0 ? std::abs( a - b ) / larger : 0;
}

double difference( const Summary& a, const Summary& b )
{
    const auto sizeA = a.box.size(), sizeB = b.box.size();
    return std::max( { difference( double( a.objects ), double( b.objects ) ),
        difference( double( a.points ), double( b.points ) ),
        difference( double( a.triangles ), double( b.triangles ) ), difference( double( a.edges ), double( b.edges ) ),
        difference( a.volume, b.volume ), difference( a.area, b.area ), difference( sizeA.x, sizeB.x ),
        difference( sizeA.y, sizeB.y ), difference( sizeA.z, sizeB.z ) } );
}

} // namespace

int main( int argc, char** argv )
{
    Backend::StepOptions plain, ours;
    plain.allHealing = true;
    ours.processes = int( std::thread::hardware_concurrency() );
    fmt::print( "{:<44} {:>6} {:>8} {:>8} {:>8} {:>6} {:>9}\n", "file", "kB", "triang.", "plain, s", "ours, s", "ratio",
        "differs" );
    int failed = 0;
    for ( int i = 1; i < argc; ++i )
    {
        const std::filesystem::path file = argv[i];
        const Summary a = convertApart( file, plain ), b = convertApart( file, ours );
        const double differs = difference( a, b );
        const bool bad = ( a.seconds < 0 ) != ( b.seconds < 0 ) || differs > cTolerance;
        failed += bad;
        fmt::print( "{:<44.44} {:>6} {:>8} {:>8.3f} {:>8.3f} {:>6.2f} {:>8.4f}%{}\n", file.filename().string(),
            std::filesystem::file_size( file ) / 1000, a.triangles, a.seconds, b.seconds, b.seconds / a.seconds,
            differs * 100, bad ? "  DIFFERS" : "" );
    }
    fmt::print( "{} of {} files differ\n", failed, argc - 1 );
    return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
