#include "doctor/Checks.h"

#include "database/DatabaseFiles.h"
#include "identity/keys/IdentityKeys.h"
#include "identity/keys/KeyRing.h"
#include "text/Uri.h"
#include "tls/Issuing.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

namespace fs = std::filesystem;
using std::chrono::days;

constexpr const char* cSecrets[] = {
    "identity-keys.json", "store-keys.json", "server-key.pem", "ca-key.pem", cMainDatabase, cStatisticsDatabase };

std::string userName( uid_t user )
{
    const auto* entry = ::getpwuid( user );
    return entry ? entry->pw_name : std::to_string( user );
}

/// The first file in the folder that is not its owner's; empty where there is none.
std::string othersFileIn( const fs::path& folder, uid_t owner )
{
    std::error_code ec;
    for ( const auto& entry : fs::directory_iterator( folder, ec ) )
    {
        struct stat info{};
        if ( ::lstat( entry.path().c_str(), &info ) == 0 && info.st_uid != owner )
            return entry.path().filename().string();
    }
    return {};
}

int64_t daysUntil( std::chrono::sys_seconds end )
{
    return std::chrono::floor<days>( end - systemTime() ).count();
}

struct CertificateFiles
{
    fs::path chain, key;
    bool ownOne = false;
};

CertificateFiles certificateOf( const Patient& patient )
{
    if ( patient.tlsCertificate.empty() )
        return { patient.data / "server.pem", patient.data / "server-key.pem", true };
    return { patient.tlsCertificate, patient.tlsKey, false };
}

bool isNamed( const std::string& host, X509* certificate )
{
    return X509_check_host( certificate, host.c_str(), host.size(), 0, nullptr ) == 1 ||
           X509_check_ip_asc( certificate, host.c_str(), 0 ) == 1;
}

} // namespace

Finding checkFolder( const Patient& patient )
{
    const auto name = "\"" + patient.data.string() + "\"";
    const auto fail = [&]( std::string text ) { return Finding{ Verdict::Fail, "folder", std::move( text ) }; };
    struct stat info{};
    if ( ::stat( patient.data.c_str(), &info ) != 0 )
        return fail( fmt::format( "There is no folder {}; give that of \"serve --data\"", name ) );
    if ( !S_ISDIR( info.st_mode ) )
        return fail( fmt::format( "{} is no folder; give that of \"serve --data\"", name ) );
    std::error_code ec;
    if ( !fs::exists( patient.data / cMainDatabase, ec ) )
        return fail( fmt::format( "{} is no service's: it has no database; give that of \"serve --data\"", name ) );
    if ( info.st_mode & 077 )
        return fail(
            fmt::format( "Others may enter {} (mode {:04o}); run: chmod 700 {}", name, info.st_mode & 07777, name ) );
    if ( const auto file = othersFileIn( patient.data, info.st_uid ); !file.empty() )
        return fail( fmt::format( "\"{}\" in {} is not {}'s, whose folder it is; run: chown -R {} {}", file, name,
            userName( info.st_uid ), userName( info.st_uid ), name ) );
    return { Verdict::Ok, "folder",
        fmt::format( "{} is {}'s alone, and {}", name, userName( info.st_uid ),
            patient.isRunning ? "a service is using it" : "no service is using it" ) };
}

Finding checkSecrets( const Patient& patient )
{
    for ( const char* name : cSecrets )
    {
        const auto file = patient.data / name;
        struct stat info{};
        if ( ::stat( file.c_str(), &info ) == 0 && ( info.st_mode & 077 ) )
            return { Verdict::Fail, "secrets",
                fmt::format( "Others may open \"{}\" (mode {:04o}); run: chmod 600 \"{}\"", file.string(),
                    info.st_mode & 07777, file.string() ) };
    }
    return { Verdict::Ok, "secrets", "Keys and databases are their owner's alone" };
}

Finding checkSigningKeys( const Patient& patient )
{
    const auto keys = readIdentityKeys( patient.data );
    if ( !keys )
        return { Verdict::Fail, "sign-in keys", keys.error() };
    const auto age = std::chrono::floor<days>( systemTime() - keys->signing.back().since );
    // A running service would have renewed it.
    if ( age > KeyTimes().renewal + days( 1 ) )
        return { Verdict::Warn, "sign-in keys",
            fmt::format( "The key that signs is {} days old; start the service, or run: orvanta-backend keys rotate "
                         "--data \"{}\"",
                age.count(), patient.data.string() ) };
    return { Verdict::Ok, "sign-in keys",
        fmt::format(
            "The key that signs is of {:%Y-%m-%d}; {} in all", keys->signing.back().since, keys->signing.size() ) };
}

Finding checkCertificate( const Patient& patient )
{
    const auto files = certificateOf( patient );
    const auto certificates = certificatesIn( files.chain );
    const char* const renewal =
        files.ownOne ? "start the service, or send it SIGHUP: it makes another" : "get another, and send SIGHUP";
    const auto found = [&]( Verdict verdict, const std::string& text )
    {
        return Finding{ verdict, "certificate",
            fmt::format( "\"{}\" {}{}{}", files.chain.string(), text, verdict == Verdict::Ok ? "" : "; ",
                verdict == Verdict::Ok ? "" : renewal ) };
    };
    if ( certificates.empty() )
        return found( Verdict::Fail, "holds no certificate that can be read" );
    const auto key = keyIn( files.key );
    if ( !key || X509_check_private_key( certificates[0].get(), key.get() ) != 1 )
        return found( Verdict::Fail, "does not fit its key, \"" + files.key.string() + "\"" );
    const auto end = endOf( certificates[0].get() );
    const auto left = daysUntil( end );
    if ( left < 0 )
        return found( Verdict::Fail, fmt::format( "ended on {:%Y-%m-%d}", end ) );
    // One of our own should have been renewed by then.
    if ( left < ( files.ownOne ? 28 : 14 ) )
        return found( Verdict::Warn, fmt::format( "ends in {} days", left ) );
    return found( Verdict::Ok, fmt::format( "is good until {:%Y-%m-%d}", end ) );
}

Finding checkNames( const Patient& patient )
{
    const auto host = hostNameOf( patient.publicUrl.empty() ? "https://localhost" : patient.publicUrl );
    const auto certificates = certificatesIn( certificateOf( patient ).chain );
    if ( !certificates.empty() && isNamed( host, certificates[0].get() ) )
        return { Verdict::Ok, "names", fmt::format( "The certificate names {}", host ) };
    // Behind a proxy it is that one's certificate that clients see.
    return { Verdict::Warn, "names",
        fmt::format( "The certificate does not name {}, as clients call the service: start it with --public-url, or "
                     "give it another certificate, unless a proxy has one",
            host ) };
}

} // namespace VX::Backend
