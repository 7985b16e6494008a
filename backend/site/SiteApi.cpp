#include "site/SiteApi.h"

#include "site/DownloadPage.h"
#include "site/Style.h"
#include "site/TourPage.h"
#include "site/TourPicture.h"

#include <VXMesh/io/Path.h>

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace VX::Backend
{
namespace
{

constexpr const char* cTour = "/inappvideo/onboarding_first_session";
constexpr const char* cDownload = "/download";
constexpr const char* cStyle = "/site/style.css";
constexpr const char* cPicture = "/site/tour.gif";
constexpr size_t cMostPackages = 50;

/// A whole array that was made from a file, without the zero at its end.
template <size_t size>
std::string textOf( const char ( &bytes )[size] )
{
    return { bytes, size - 1 };
}

HttpResponse page( std::string body, const char* contentType = "text/html; charset=utf-8" )
{
    HttpResponse out;
    out.contentType = contentType;
    out.body = std::move( body );
    out.headers["Content-Security-Policy"] = "default-src 'none'; style-src 'self'; img-src 'self'; base-uri 'none'; "
                                             "form-action 'none'; frame-ancestors 'none'";
    out.headers["X-Content-Type-Options"] = "nosniff";
    out.headers["Referrer-Policy"] = "no-referrer";
    out.headers["Cache-Control"] = "no-cache";
    return out;
}

/// Of names as Debian's tools make them: nothing that means anything to a path, a URL or a page.
bool isPackageName( std::string_view name )
{
    constexpr std::string_view cPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._+~-";
    return name.ends_with( ".deb" ) && name.front() != '.' && name.size() < 200 &&
           name.find_first_not_of( cPlain ) == name.npos;
}

constexpr const char* cHowToBuild =
    "<p>There is no package here yet. Build one from the source tree on Debian 12:</p>\n"
    "<pre>packaging/make-package</pre>\n"
    "<p>It prints where the packages lie. Put them into the folder that the back end was "
    "given with <code>--downloads</code>, or into <code>downloads</code> in its data "
    "folder, and load this page again.</p>";

/// The newest packages of the program and of what it needs; where that is not there, the first.
std::string toInstall( const auto& packages )
{
    std::string out;
    for ( const char* part : { "orvanta_", "liborvanta0_", "libvxmesh0_" } )
    {
        const auto newest = std::find_if(
            packages.begin(), packages.end(), [&]( const auto& one ) { return one.name.starts_with( part ); } );
        if ( newest != packages.end() )
            out += " ./" + newest->name;
    }
    return out.empty() ? " ./" + packages.front().name : out;
}

} // namespace

bool SiteApi::serves( const std::string& path )
{
    return path == cTour || path == cDownload || path == cStyle || path == cPicture ||
           path.starts_with( std::string( cDownload ) + "/" );
}

BodyPlan SiteApi::planBody( const HttpRequest& head )
{
    return planReading( head, "Pages can only be read" );
}

void SiteApi::handle( HttpRequest request, Respond respond )
{
    if ( request.path == cTour )
        return respond( page( textOf( cTourPage ) ) );
    if ( request.path == cStyle )
        return respond( page( textOf( cStyleSheet ), "text/css; charset=utf-8" ) );
    if ( request.path == cPicture )
        return respond( page( textOf( cTourPicture ), "image/gif" ) );
    if ( request.path == cDownload )
        return respond( downloadPage_() );
    respond( package_( request.path.substr( std::string_view( cDownload ).size() + 1 ) ) );
}

std::vector<SiteApi::Package> SiteApi::packages_() const
{
    std::vector<Package> out;
    std::error_code ec;
    for ( auto it = std::filesystem::directory_iterator( downloads_, ec ); !ec && it != std::filesystem::end( it );
        it.increment( ec ) )
    {
        auto name = utf8string( it->path().filename() );
        std::error_code unknown;
        // A link may lead out of the folder.
        if ( isPackageName( name ) && it->symlink_status( unknown ).type() == std::filesystem::file_type::regular )
            out.push_back( { std::move( name ), it->file_size( unknown ) } );
    }
    std::sort( out.begin(), out.end(), []( const auto& a, const auto& b ) { return a.name > b.name; } );
    out.resize( std::min( out.size(), cMostPackages ) );
    return out;
}

HttpResponse SiteApi::downloadPage_() const
{
    constexpr std::string_view cPlace = "<!-- packages -->";
    const auto packages = packages_();
    std::string list;
    for ( const auto& [name, size] : packages )
        list += fmt::format(
            "<li><a href=\"/download/{0}\">{0}</a>, {1:.1f}&nbsp;MB</li>\n", name, double( size ) / 1'000'000 );
    if ( !packages.empty() )
        list =
            fmt::format( "<h2>Packages for Debian 12</h2>\n<ul>\n{}</ul>\n<p>The program needs its libraries. Install "
                         "it in the folder that you saved them in:</p>\n<pre>sudo apt install{}</pre>",
                list, toInstall( packages ) );
    auto html = textOf( cDownloadPage );
    html.replace( html.find( cPlace ), cPlace.size(), packages.empty() ? cHowToBuild : list );
    return page( std::move( html ) );
}

HttpResponse SiteApi::package_( const std::string& name ) const
{
    const auto packages = packages_();
    const auto found =
        std::find_if( packages.begin(), packages.end(), [&]( const Package& p ) { return p.name == name; } );
    if ( found == packages.end() )
    {
        auto out = page( "There is no such package\n", "text/plain; charset=utf-8" );
        out.status = 404;
        return out;
    }
    auto out = page( {}, "application/vnd.debian.binary-package" );
    out.file = downloads_ / found->name;
    out.fileLength = found->size;
    out.headers["Content-Disposition"] = "attachment; filename=\"" + found->name + "\"";
    return out;
}

} // namespace VX::Backend
