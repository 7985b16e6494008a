#include "converter/WorkerTrial.h"

#include "converter/Cube.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/MappedFile.h>

#include <fstream>

namespace VX::Backend
{
namespace
{

using Result = tl::expected<void, std::string>;

// Far more than a cube takes, on whatever machine.
constexpr std::chrono::seconds cTime{ 60 };

WorkerSetup forTrial( WorkerSetup setup )
{
    setup.showsErrors = true;
    return setup;
}

Result give( const WorkerProcess& worker )
{
    std::ofstream out( worker.plainInputFile(), std::ios::binary );
    out << cCube;
    out.close();
    return out ? Result() : tl::unexpected( std::string( "Its input cannot be written" ) );
}

Result look( const WorkerProcess& worker )
{
    return MappedFile::open( worker.resultFile() )
        .and_then( []( const MappedFile& file ) { return readVxu( file.bytes() ); } )
        .and_then(
            []( const LoadedObjects& scene )
            {
                return scene.objects.empty() ? Result( tl::unexpected( std::string( "It made nothing" ) ) ) : Result();
            } );
}

Result clear( const WorkerProcess& worker )
{
    std::error_code ec;
    const bool done =
        std::filesystem::remove( worker.plainInputFile(), ec ) && std::filesystem::remove( worker.resultFile(), ec );
    return done ? Result() : tl::unexpected( std::string( "What it was tried with cannot be removed" ) );
}

} // namespace

WorkerTrial::WorkerTrial( const std::filesystem::path& root, WorkerSetup setup )
    : worker_( WorkerProcess::start( root, forTrial( std::move( setup ) ) ) )
{
}

tl::expected<std::unique_ptr<WorkerProcess>, std::string> WorkerTrial::end()
{
    return std::move( worker_ )
        .and_then(
            []( std::unique_ptr<WorkerProcess> worker )
            {
                return give( *worker )
                    .and_then( [&] { return worker->tryOut( cTime ); } )
                    .and_then( [&] { return look( *worker ); } )
                    .and_then( [&] { return clear( *worker ); } )
                    .map( [&] { return std::move( worker ); } );
            } )
        .map_error(
            []( const std::string& error )
            {
                return "No file can be converted here: a worker was tried with a cube and failed, \"" + error +
                       "\"; what it said of that itself stands above";
            } );
}

} // namespace VX::Backend
