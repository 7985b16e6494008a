#include "tls/Certificates.h"

#include "crypto/Hex.h"
#include "tls/Issuing.h"

#include <VXMesh/io/AtomicFile.h>

#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

using std::chrono::days;
using Result = tl::expected<void, std::string>;

constexpr days cAuthorityLife( 3650 );
/// Clients have at least as long to hear of the next authority as the last certificate of the former one lives.
constexpr days cAuthorityLeft( 365 );
constexpr days cLife( 90 );
constexpr days cLeft( 30 );

/// Who signs certificates in a folder, with what clients trust besides.
struct Authority
{
    TlsCertificate certificate{ nullptr, &X509_free };
    TlsKey key{ nullptr, &EVP_PKEY_free };
    std::vector<TlsCertificate> former;
};

struct Leaf
{
    TlsCertificate certificate{ nullptr, &X509_free };
    TlsKey key{ nullptr, &EVP_PKEY_free };
};

std::filesystem::path authorityKeyIn( const std::filesystem::path& folder )
{
    return folder / "ca-key.pem";
}

bool isPair( const TlsCertificate& certificate, const TlsKey& key )
{
    return certificate && key && X509_check_private_key( certificate.get(), key.get() ) == 1;
}

Authority authorityIn( const std::filesystem::path& folder, const ServerCertificate& files )
{
    Authority out;
    out.former = certificatesIn( files.authority );
    out.key = keyIn( authorityKeyIn( folder ) );
    if ( !out.former.empty() && isPair( out.former.front(), out.key ) )
    {
        out.certificate = std::move( out.former.front() );
        out.former.erase( out.former.begin() );
    }
    return out;
}

Leaf leafIn( const ServerCertificate& files )
{
    Leaf out;
    if ( auto chain = certificatesIn( files.chain ); !chain.empty() )
        out.certificate = std::move( chain.front() );
    out.key = keyIn( files.key );
    return out;
}

std::vector<std::string> namesOf( const CertificateWish& wish )
{
    std::vector<std::string> out{ "DNS:localhost", "IP:127.0.0.1", "IP:::1" };
    for ( const auto& host : wish.hosts )
        if ( const auto name = subjectNameOf( host );
            !name.empty() && std::find( out.begin(), out.end(), name ) == out.end() )
            out.push_back( name );
    return out;
}

/// Puts another authority into the place of one that has no key or ends; who signed the certificate that is still used
/// is trusted further on.
Result replaceAuthority( Authority& authority, const std::filesystem::path& folder, const ServerCertificate& files,
    const Leaf& leaf, std::chrono::sys_seconds now )
{
    auto key = makeTlsKey();
    if ( !key )
        return tl::unexpected( std::string( "No key for the certificate can be made" ) );
    auto certificate =
        makeCertificate( { "Orvanta local authority " + randomHex( 4 ), {}, now, cAuthorityLife }, key.get() );
    if ( authority.certificate )
        authority.former.insert( authority.former.begin(), std::move( authority.certificate ) );
    std::erase_if( authority.former,
        [&]( const auto& one ) { return !leaf.certificate || !isIssuedBy( leaf.certificate.get(), one.get() ); } );
    auto text = pemOf( certificate.get() );
    for ( const auto& one : authority.former )
        text += pemOf( one.get() );
    authority.certificate = std::move( certificate );
    authority.key = std::move( key );
    return writeFileAtomically( authorityKeyIn( folder ), pemOf( authority.key.get() ), { .mode = 0600 } )
        .and_then( [&] { return writeFileAtomically( files.authority, text ); } );
}

bool isGood( const Leaf& leaf, const Authority& authority, const CertificateWish& wish )
{
    if ( !isPair( leaf.certificate, leaf.key ) || endOf( leaf.certificate.get() ) - wish.now <= cLeft )
        return false;
    if ( isIssuedBy( leaf.certificate.get(), authority.certificate.get() ) )
        return subjectNamesOf( leaf.certificate.get() ) == namesOf( wish );
    // Clients that have heard of the former authority alone are given time.
    return std::any_of( authority.former.begin(), authority.former.end(),
        [&]( const auto& one ) { return isIssuedBy( leaf.certificate.get(), one.get() ); } );
}

Result replaceLeaf( const Authority& authority, const ServerCertificate& files, const CertificateWish& wish )
{
    const auto key = makeTlsKey();
    if ( !key )
        return tl::unexpected( std::string( "No key for the certificate can be made" ) );
    const auto certificate = makeCertificate( { "localhost", namesOf( wish ), wish.now, cLife }, key.get(),
        authority.certificate.get(), authority.key.get() );
    return writeFileAtomically( files.key, pemOf( key.get() ), { .mode = 0600 } )
        .and_then( [&] { return writeFileAtomically( files.chain, pemOf( certificate.get() ) ); } );
}

} // namespace

tl::expected<ServerCertificate, std::string> ensureCertificate(
    const std::filesystem::path& folder, const CertificateWish& wish )
{
    ServerCertificate files{ folder / "ca.pem", folder / "server.pem", folder / "server-key.pem" };
    auto authority = authorityIn( folder, files );
    const auto leaf = leafIn( files );
    if ( !authority.certificate || endOf( authority.certificate.get() ) - wish.now <= cAuthorityLeft )
    {
        const bool followsOne = !authority.former.empty() || authority.certificate;
        if ( auto made = replaceAuthority( authority, folder, files, leaf, wish.now ); !made )
            return tl::unexpected( made.error() );
        if ( followsOne )
            spdlog::warn( "There is a new authority in \"{}\": who has a copy of the file needs a new one",
                files.authority.string() );
    }
    if ( isGood( leaf, authority, wish ) )
        return files;
    if ( auto made = replaceLeaf( authority, files, wish ); !made )
        return tl::unexpected( made.error() );
    files.isNew = true;
    return files;
}

} // namespace VX::Backend
