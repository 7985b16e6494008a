#include <VXOrvanta/converter/S3.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

using namespace VX;

TEST( S3, UploadStreamsTheFileByPut )
{
    float seen = -1;
    const auto data = S3::uploadWithPresignedUrl( "https://s3/x?sig=%2F", "/in ü.zip",
        [&]( float f )
        {
            seen = f;
            return false;
        } ).data();
    EXPECT_EQ( data.method, WebMethod::Put );
    EXPECT_EQ( data.url, "https://s3/x?sig=%2F" );
    EXPECT_EQ( data.inputPath, "/in ü.zip" );
    EXPECT_EQ( data.timeout, std::chrono::milliseconds( 600000 ) );
    EXPECT_EQ( data.logName, "S3" );
    ASSERT_TRUE( data.uploadProgress );
    EXPECT_FALSE( data.uploadProgress( 0.5f ) );
    EXPECT_EQ( seen, 0.5f );
    EXPECT_FALSE( data.downloadProgress );
}

TEST( S3, DownloadWritesTheFile )
{
    const auto data = S3::downloadWithPresignedUrl( "https://s3/x", "/out", []( float ) { return true; } ).data();
    EXPECT_EQ( data.method, WebMethod::Get );
    EXPECT_EQ( data.outputPath, "/out" );
    EXPECT_TRUE( data.downloadProgress );
    EXPECT_FALSE( data.uploadProgress );
    EXPECT_EQ( data.timeout, std::chrono::milliseconds( 600000 ) );
}

TEST( S3, AnEmptyProgressCallbackIsNotInstalled )
{
    EXPECT_FALSE( S3::uploadWithPresignedUrl( "u", "f", {} ).data().uploadProgress );
    EXPECT_FALSE( S3::downloadWithPresignedUrl( "u", "f", {} ).data().downloadProgress );
}

TEST( S3, AnswersBelow400AreSuccesses )
{
    const auto parse = []( int code )
    { return S3::parseResponse( ScriptedTransport::response( code, "ignored", "why" ) ); };
    EXPECT_TRUE( parse( 200 ) );
    EXPECT_TRUE( parse( 399 ) );
    EXPECT_EQ( parse( 0 ).error(), "Connection error" );
    EXPECT_EQ( parse( 403 ).error(), "why" );
    EXPECT_EQ( S3::parseResponse( ScriptedTransport::response( 400, "" ) ).error(), "" );
}
