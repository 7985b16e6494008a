#include "support/service/ImportFixture.h"

#include "support/TestMeshes.h"

#include <VXOrvanta/converter/ConverterService.h>
#include <VXViewer/web/WebRequest.h>

#include <future>

#include <unistd.h>

namespace VX::Testing
{
namespace
{

const std::filesystem::path cWorkingFolder = "/.service_output_files";

} // namespace

void ImportFixture::SetUp()
{
    static std::atomic<int> sCounter{ 0 };
    name_ = "orvanta-test-" + std::to_string( ::getpid() ) + "-" + std::to_string( sCounter++ );
    file_ = folder_.write( name_ + ".step", "ISO-10303-21;" );
    answers_.clear();
    transport_ = std::make_shared<ScriptedTransport>(
        [this]( const WebRequestData& request ) -> std::optional<Json::Value>
        {
            if ( onRequest_ )
                onRequest_( kindOf_( request ) );
            const std::lock_guard lock( mutex_ );
            auto& queue = answers_[kindOf_( request )];
            if ( queue.empty() )
                return failedWebResponse( "nothing scripted" );
            auto response = std::move( queue.front() );
            queue.pop_front();
            return response;
        } );
    setWebTransport( transport_ );
}

void ImportFixture::TearDown()
{
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 10 ) ) );
    setWebTransport( nullptr );
    std::error_code ec;
    std::filesystem::remove( outputFile(), ec );
    std::filesystem::remove( payloadFile(), ec );
    std::filesystem::remove_all( temporaryDir(), ec );
}

std::string ImportFixture::kindOf_( const WebRequestData& request )
{
    if ( request.logName == "S3" )
        return request.method == WebMethod::Put ? "upload" : "download";
    return request.url.substr( request.url.rfind( '/' ) + 1 );
}

ImportFixture::Result ImportFixture::import( bool blocking, const ProgressCallback& progress ) const
{
    if ( blocking )
        return ConverterService::fromStep( file_, progress );
    std::promise<Result> promise;
    ConverterService::fromStep( file_, [&]( Result r ) { promise.set_value( std::move( r ) ); }, progress );
    return promise.get_future().get();
}

void ImportFixture::script( const std::string& call, Json::Value response )
{
    const std::lock_guard lock( mutex_ );
    answers_[call].push_back( std::move( response ) );
}

void ImportFixture::scriptSuccess()
{
    script( "request", result( R"({"request_id": ")" + requestId() + R"(", "url": "https://s3/up"})" ) );
    script( "upload", ok( "" ) );
    script( "convert", result( "{}" ) );
    script( "status", result( R"({"state": "finished", "url": "https://s3/down"})" ) );
    auto download = ok( "" );
    download["file"] = cubeFile();
    script( "download", download );
}

std::vector<std::string> ImportFixture::calls() const
{
    std::vector<std::string> out;
    for ( const auto& request : transport_->sent() )
        out.push_back( kindOf_( request ) );
    return out;
}

Json::Value ImportFixture::ok( const std::string& text )
{
    return ScriptedTransport::response( 200, text );
}

std::filesystem::path ImportFixture::outputFile() const
{
    return cWorkingFolder / ( name_ + ".vxu" );
}

std::filesystem::path ImportFixture::payloadFile() const
{
    return cWorkingFolder / ( name_ + ".input.zip" );
}

std::filesystem::path ImportFixture::temporaryDir() const
{
    return cWorkingFolder / requestId();
}

} // namespace VX::Testing
