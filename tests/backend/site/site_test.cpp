#include "support/ApprovedText.h"
#include "support/ScratchFolder.h"

#include "site/SiteApi.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

class Site : public testing::Test
{
protected:
    HttpResponse get( const std::string& path )
    {
        HttpRequest request;
        request.method = "GET";
        request.path = path;
        HttpResponse out;
        site_.handle( request, [&]( HttpResponse response ) { out = std::move( response ); } );
        return out;
    }
    [[nodiscard]] std::filesystem::path downloads() const { return folder_.path() / "downloads"; }
    void package( const std::string& name ) const
    {
        std::filesystem::create_directories( downloads() );
        folder_.write( "downloads/" + name, std::string( 1'500'000, 'x' ) );
    }

    Testing::ScratchFolder folder_;
    SiteApi site_{ downloads() };
};

size_t count( const std::string& text, const std::string& part )
{
    size_t out = 0;
    for ( size_t at = 0; ( at = text.find( part, at ) ) != text.npos; at += part.size() )
        ++out;
    return out;
}

} // namespace

TEST_F( Site, TheTourIsAPageWithAPictureThatMoves )
{
    const std::string path = "/inappvideo/onboarding_first_session";
    ASSERT_TRUE( SiteApi::serves( path ) );
    const auto tour = get( path );
    EXPECT_EQ( tour.status, 200 );
    EXPECT_EQ( tour.contentType, "text/html; charset=utf-8" );
    EXPECT_TRUE( tour.body.starts_with( "<!DOCTYPE html>" ) );
    ASSERT_NE( tour.body.find( "src=\"/site/tour.gif\"" ), std::string::npos );
    const auto picture = get( "/site/tour.gif" );
    EXPECT_EQ( picture.contentType, "image/gif" );
    EXPECT_TRUE( picture.body.starts_with( "GIF89a" ) );
    EXPECT_GT( count( picture.body, "\x21\xf9\x04" ), 10u ) << "frames";
    EXPECT_LT( picture.body.size(), 1'500'000u );
    EXPECT_EQ( get( "/site/style.css" ).contentType, "text/css; charset=utf-8" );
}

TEST_F( Site, PagesNeedAndMayLoadNothingFromElsewhere )
{
    package( "orvanta_0.1.0_amd64.deb" );
    for ( const char* path : { "/inappvideo/onboarding_first_session", "/download", "/site/style.css" } )
    {
        const auto page = get( path );
        const auto policy = page.headers.at( "Content-Security-Policy" );
        EXPECT_EQ( policy, "default-src 'none'; style-src 'self'; img-src 'self'; base-uri 'none'; form-action 'none'; "
                           "frame-ancestors 'none'" )
            << path;
        EXPECT_EQ( page.headers.at( "Referrer-Policy" ), "no-referrer" );
        EXPECT_EQ( page.headers.at( "Cache-Control" ), "no-cache" );
        EXPECT_EQ( page.headers.at( "X-Content-Type-Options" ), "nosniff" );
        for ( const char* foreign : { "http:", "https:", "//", "<script", "style=\"", "@import", "url(" } )
            EXPECT_EQ( page.body.find( foreign ), std::string::npos ) << path << " " << foreign;
    }
    const auto style = get( "/site/style.css" ).body;
    EXPECT_NE( style.find( "prefers-color-scheme: dark" ), std::string::npos );
}

TEST_F( Site, WithoutPackagesTheDownloadPageSaysHowToBuildOne )
{
    const auto page = get( "/download" );
    EXPECT_EQ( page.status, 200 );
    EXPECT_NE( page.body.find( "packaging/make-package" ), std::string::npos );
    EXPECT_EQ( page.body.find( ".deb" ), std::string::npos );
}

TEST_F( Site, PackagesAreListedAndServed )
{
    package( "orvanta_0.1.0_amd64.deb" );
    package( "orvanta_0.2.0~rc1_amd64.deb" );
    const auto page = get( "/download" ).body;
    EXPECT_NE( page.find( "href=\"/download/orvanta_0.1.0_amd64.deb\"" ), std::string::npos );
    EXPECT_NE( page.find( "sudo apt install ./orvanta_0.2.0~rc1_amd64.deb" ), std::string::npos );
    EXPECT_NE( page.find( "1.5&nbsp;MB" ), std::string::npos );
    const auto file = get( "/download/orvanta_0.1.0_amd64.deb" );
    EXPECT_EQ( file.status, 200 );
    EXPECT_EQ( file.file, downloads() / "orvanta_0.1.0_amd64.deb" );
    EXPECT_EQ( file.fileLength, 1'500'000u );
    EXPECT_EQ( file.headers.at( "Content-Disposition" ), "attachment; filename=\"orvanta_0.1.0_amd64.deb\"" );
}

TEST_F( Site, TheProgramIsInstalledWithItsLibrariesOfTheNewestRelease )
{
    for ( const char* version : { "0.1.0-2", "0.2.0-1" } )
        for ( const char* name :
            { "liborvanta-dev", "liborvanta0", "libvxmesh0", "orvanta", "orvanta-backend", "orvanta-worker" } )
            package( fmt::format( "{}_{}_amd64.deb", name, version ) );
    EXPECT_NE( get( "/download" )
                   .body.find( "<pre>sudo apt install ./orvanta_0.2.0-1_amd64.deb "
                               "./liborvanta0_0.2.0-1_amd64.deb ./libvxmesh0_0.2.0-1_amd64.deb</pre>" ),
        std::string::npos );
    std::filesystem::remove_all( downloads() );
    package( "orvanta-worker_0.2.0-1_all.deb" );
    EXPECT_NE( get( "/download" ).body.find( "<pre>sudo apt install ./orvanta-worker_0.2.0-1_all.deb</pre>" ),
        std::string::npos );
}

TEST_F( Site, NothingElseLeavesTheFolderOrThePage )
{
    package( "orvanta_0.1.0_amd64.deb" );
    package( "notes.txt" );
    package( ".hidden.deb" );
    package( "<script>.deb" );
    package( "a b.deb" );
    folder_.write( "outside.deb", "secret" );
    std::filesystem::create_symlink( folder_.path() / "outside.deb", downloads() / "link.deb" );
    std::filesystem::create_directory( downloads() / "folder.deb" );
    EXPECT_EQ( count( get( "/download" ).body, "<li>" ), 1u );
    for ( const char* name :
        { "notes.txt", ".hidden.deb", "link.deb", "folder.deb", "../outside.deb", "..%2foutside.deb",
            "%2e%2e/outside.deb", "", ".", "..", "/etc/passwd", "orvanta_0.1.0_amd64.deb/", "a b.deb", "a%20b.deb" } )
    {
        const auto answer = get( std::string( "/download/" ) + name );
        EXPECT_EQ( answer.status, 404 ) << name;
        EXPECT_TRUE( answer.file.empty() ) << name;
    }
}

TEST_F( Site, NamesThatAreTooLongAndPackagesThatAreTooManyStayAway )
{
    const auto named = []( size_t length ) { return std::string( length - 4, 'a' ) + ".deb"; };
    package( named( 199 ) );
    package( named( 200 ) );
    EXPECT_EQ( get( "/download/" + named( 199 ) ).status, 200 );
    EXPECT_EQ( get( "/download/" + named( 200 ) ).status, 404 );
    for ( int i = 100; i < 150; ++i )
        folder_.write( "downloads/b" + std::to_string( i ) + ".deb", "" );
    EXPECT_EQ( count( get( "/download" ).body, "<li>" ), 50u );
    EXPECT_EQ( get( "/download/b100.deb" ).status, 200 );
    EXPECT_EQ( get( "/download/" + named( 199 ) ).status, 404 ) << "the newest names come first";
}

TEST_F( Site, PagesCanOnlyBeRead )
{
    HttpRequest request;
    request.method = "POST";
    request.path = "/download";
    const auto refusal = site_.planBody( request ).refusal.value();
    EXPECT_EQ( refusal.status, 405 );
    EXPECT_EQ( refusal.headers.at( "Allow" ), "GET, HEAD" );
    EXPECT_EQ( refusal.body, R"({"error":{"message":"Pages can only be read"}})" );
    EXPECT_FALSE( SiteApi::serves( "/downloads" ) );
    EXPECT_FALSE( SiteApi::serves( "/site/other" ) );
}

TEST_F( Site, ThePagesAreInTheseWords )
{
    auto pages = get( "/download" ).body;
    package( "orvanta_0.1.0_amd64.deb" );
    package( "orvanta_0.2.0_amd64.deb" );
    pages += "\n====\n" + get( "/download" ).body + "\n====\n" + get( "/download/nothing.deb" ).body;
    Testing::expectApproved( pages, "backend/site/approved/download.html" );
}
