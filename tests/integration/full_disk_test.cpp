#include "TestPlaces.h"
#include "support/Command.h"
#include "support/TestMeshes.h"
#include "support/service/BackendProcess.h"
#include "support/service/SmallDisk.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/converter/ConverterService.h>

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

using namespace VX;

namespace
{

const std::filesystem::path cWorkingFolder = "/.service_output_files";

/// What stands below a folder, with its sizes, a line each.
std::string listing( const std::filesystem::path& folder )
{
    std::string out;
    for ( const auto& entry : std::filesystem::recursive_directory_iterator( folder ) )
        if ( entry.is_regular_file() )
            out += entry.path().filename().string() + " " + std::to_string( entry.file_size() ) + "\n";
    return out;
}

std::string sample( const char* name )
{
    return Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / name );
}

std::string errorOf( const std::filesystem::path& file )
{
    const auto result = ConverterService::fromStep( file );
    return result ? "" : result.error();
}

/// What an import ends with, and what it leaves in its working folder.
std::string endOf( const std::filesystem::path& file )
{
    const auto error = errorOf( file );
    return error + "\n" + listing( cWorkingFolder );
}

/// A STEP file that cannot be packed well.
std::string noise( size_t size )
{
    std::mt19937 random( 7 );
    std::string out = "ISO-10303-21;";
    while ( out.size() < size )
        out += char( 32 + random() % 90 );
    return out;
}

/// Writes a file until the disk is full.
void fill( const std::filesystem::path& file )
{
    const int fd = ::open( file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600 );
    const std::string block( 4096, 'x' );
    while ( ::write( fd, block.data(), block.size() ) > 0 )
        ;
    ::close( fd );
}

/// The back end on a disk without room, asked by curl.
class AskedByCurl
{
public:
    explicit AskedByCurl( const std::filesystem::path& data )
        : data_( data )
    {
    }
    [[nodiscard]] std::string statusOf( const std::string& arguments ) const
    {
        return curl_( "-o /dev/null -w '%{http_code}' " + arguments );
    }
    [[nodiscard]] std::string newJob() const
    {
        const auto answer =
            curl_( "-d '{\"input_format\":\"step\",\"compress_input\":\"zip\"}' " + url( "/converter/v2/request" ) );
        constexpr std::string_view cKey = "\"request_id\":\"";
        const auto at = answer.find( cKey );
        return at == std::string::npos ? std::string() : answer.substr( at + cKey.size(), 32 );
    }
    [[nodiscard]] bool knows( const std::string& id ) const
    {
        return statusOf( "'" + url( "/converter/v2/status?request_id=" + id ) + "'" ) == "200";
    }
    static std::string url( const std::string& path )
    {
        return "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + path;
    }

private:
    [[nodiscard]] std::string curl_( const std::string& arguments ) const
    {
        return Testing::runCommand(
            "curl -s --max-time 30 --cacert '" + ( data_ / "ca.pem" ).string() + "' " + arguments )
            .text;
    }
    std::filesystem::path data_;
};

} // namespace

#define SKIP_IF_NO_DISK( result )                                                                                      \
    if ( !( result ) )                                                                                                 \
    GTEST_SKIP() << "mounting is not allowed here"

TEST( FullDisk, ASceneThatCannotBeSavedLeavesTheFormerOne )
{
    const Testing::ScratchFolder folder;
    const auto result = Testing::onSmallDisk( folder.path(), 64 << 10,
        [&]
        {
            const auto file = folder.write( "scene.vxu", "the former one" );
            const auto object = std::make_shared<ObjectMesh>();
            object->setMesh( std::make_shared<Mesh>( Testing::wavySheet( 200 ) ) );
            const std::shared_ptr<Object> root = object;
            const auto saved = saveVxu( file, { &root, 1 } );
            return ( saved ? "saved" : saved.error() ) + "\n" + listing( folder.path() );
        } );
    SKIP_IF_NO_DISK( result );
    EXPECT_EQ( *result,
        "Cannot write \"" + ( folder.path() / "scene.vxu" ).string() + "\": No space left on device\nscene.vxu 14\n" );
}

TEST( FullDisk, ACopyThatDoesNotFitIsReported )
{
    const Testing::BackendProcess backend;
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "full-copy.step", noise( 300'000 ) );
    const auto result = Testing::onSmallDisk( cWorkingFolder, 64 << 10, [&] { return endOf( file ); } );
    SKIP_IF_NO_DISK( result );
    EXPECT_TRUE( result->starts_with( "errno " ) ) << *result;
    EXPECT_EQ( result->find( ".zip" ), std::string::npos ) << *result;
}

TEST( FullDisk, AnArchiveThatDoesNotFitIsReportedAndRemoved )
{
    const Testing::BackendProcess backend;
    const Testing::ScratchFolder folder;
    const auto file = folder.write( "full-archive.step", noise( 150'000 ) );
    const auto result = Testing::onSmallDisk( cWorkingFolder, 200 << 10, [&] { return endOf( file ); } );
    SKIP_IF_NO_DISK( result );
    EXPECT_EQ( *result, "Cannot write \"" + ( cWorkingFolder / "full-archive.input.zip" ).string() +
                            "\": Write error: No space left on device\ninput 150000\n" );
}

TEST( FullDisk, TheBackEndRefusesAnUploadKeepsNothingOfItAndLives )
{
    const Testing::ScratchFolder disk, files;
    const auto large = files.write( "full-backend-large.step", noise( 12 << 20 ) );
    const auto small = files.write( "full-backend-small.step", sample( "bracket.step" ) );
    for ( const auto& file : { large, small } )
        std::filesystem::remove( cWorkingFolder / ( file.stem().string() + ".vxu" ) );
    const auto result = Testing::onSmallDisk( disk.path(), 8 << 20,
        [&]
        {
            const Testing::BackendProcess backend;
            const auto first = errorOf( large );
            // What came of the upload goes when its connection does.
            const auto objects = backend.data() / "objects";
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
            while ( !std::filesystem::is_empty( objects ) && std::chrono::steady_clock::now() < deadline )
                std::this_thread::yield();
            const std::string kept = std::filesystem::is_empty( objects ) ? "" : "something was kept";
            return first + "|" + kept + "|" + errorOf( small );
        } );
    std::error_code ec;
    std::filesystem::remove( cWorkingFolder / "full-backend-small.vxu", ec );
    SKIP_IF_NO_DISK( result );
    EXPECT_EQ( *result, "The server answered with status 507||" );
}

TEST( FullDisk, WhatIsAnsweredWasStored )
{
    const Testing::ScratchFolder disk;
    const auto result = Testing::onSmallDisk( disk.path(), 8 << 20,
        [&]
        {
            const Testing::BackendProcess backend;
            const AskedByCurl asked( backend.data() );
            if ( asked.newJob().empty() )
                return std::string( "nothing works" );
            fill( disk.path() / "filler" );
            int refused = 0, lost = 0;
            for ( int i = 0; i < 10; ++i )
            {
                const auto id = asked.newJob();
                refused += id.empty();
                lost += !id.empty() && !asked.knows( id );
            }
            const auto health = asked.statusOf( asked.url( "/healthz" ) );
            std::filesystem::remove( disk.path() / "filler" );
            const bool again = asked.knows( asked.newJob() );
            return std::string( refused ? "some refused" : "none refused" ) + ", " + std::to_string( lost ) +
                   " lost, healthz " + health + ( again ? ", works again" : ", broken" );
        } );
    SKIP_IF_NO_DISK( result );
    EXPECT_EQ( *result, "some refused, 0 lost, healthz 503, works again" );
}
