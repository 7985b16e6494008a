#include "support/ui/OpeningFixture.h"

#include "support/TestMeshes.h"

#include <unistd.h>

namespace VX::Testing
{
namespace
{

const std::filesystem::path cWorkingFolder = "/.service_output_files";

} // namespace

void OpeningFixture::SetUp()
{
    UiFixture::SetUp();
    opener_->onOpened = [this]( const std::filesystem::path& file ) { opened_.push_back( file.filename() ); };
}

void OpeningFixture::TearDown()
{
    UiFixture::TearDown();
    std::error_code ec;
    for ( const auto& name : names_ )
    {
        std::filesystem::remove( cWorkingFolder / ( name + ".vxu" ), ec );
        std::filesystem::remove( cWorkingFolder / ( name + ".input.zip" ), ec );
    }
    for ( size_t i = 0; i < next_; ++i )
        std::filesystem::remove_all(
            cWorkingFolder / ( "id-" + std::to_string( ::getpid() ) + "-" + std::to_string( i ) ), ec );
}

std::filesystem::path OpeningFixture::step(
    const std::string& stem, const std::string& folder, const std::string& extension, const std::string& content )
{
    const auto name = "orvanta-ui-" + std::to_string( ::getpid() ) + "-" + stem;
    names_.push_back( name );
    if ( !folder.empty() )
        std::filesystem::create_directories( folder_.path() / folder );
    return folder_.write( ( std::filesystem::path( folder ) / ( name + extension ) ).string(), content );
}

std::string OpeningFixture::callOf_( const WebRequestData& request )
{
    if ( request.logName == "S3" )
        return request.outputPath.empty() ? "upload" : "download";
    return request.url.substr( request.url.rfind( '/' ) + 1 );
}

Json::Value OpeningFixture::answer_( const std::string& call )
{
    if ( const auto refusal = refusals_.find( call ); refusal != refusals_.end() )
        return refusal->second;
    if ( call == "request" )
        return ScriptedTransport::response( 200, R"({"result":{"request_id":"id-)" + std::to_string( ::getpid() ) +
                                                     "-" + std::to_string( next_++ ) + R"(","url":"u"}})" );
    if ( call == "status" )
        return ScriptedTransport::response( 200, R"({"result":{"state":"finished","url":"d"}})" );
    auto response = ScriptedTransport::response( 200, R"({"result":{}})" );
    if ( call == "download" )
        response["file"] = cubeFile();
    return response;
}

void OpeningFixture::answerEverything()
{
    transport_ = std::make_shared<ScriptedTransport>(
        [this]( const WebRequestData& request ) -> std::optional<Json::Value>
        {
            const auto call = callOf_( request );
            return call == held_ ? std::nullopt : std::optional( answer_( call ) );
        } );
    setWebTransport( transport_ );
}

void OpeningFixture::refuse( const std::string& call, int status, const std::string& text )
{
    refusals_[call] = ScriptedTransport::response( status, R"({"error":{"message":")" + text + "\"}}" );
}

void OpeningFixture::letGo()
{
    const auto call = std::exchange( held_, {} );
    EXPECT_TRUE( transport_->deliver( answer_( call ) ) );
}

std::vector<std::string> OpeningFixture::calls() const
{
    std::vector<std::string> out;
    for ( const auto& request : transport_->sent() )
        out.push_back( callOf_( request ) );
    return out;
}

size_t OpeningFixture::calls( const std::string& call ) const
{
    const auto all = calls();
    return size_t( std::count( all.begin(), all.end(), call ) );
}

void OpeningFixture::clickButtonOfNote()
{
    drawFrames( 3 );
    clickWhileBusy( windowPoint( "##notification", 280, 22 ) );
    drawFrames( 3 );
}

} // namespace VX::Testing
