#include "tls/Certificates.h"

#include <VXMesh/io/AtomicFile.h>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <memory>

namespace VX::Backend
{
namespace
{

using Key = std::unique_ptr<EVP_PKEY, decltype( &EVP_PKEY_free )>;
using Certificate = std::unique_ptr<X509, decltype( &X509_free )>;
using Bio = std::unique_ptr<BIO, decltype( &BIO_free )>;

constexpr long cDay = 24 * 3600;
constexpr long cLifetime = 825 * cDay; // the most that strict clients accept of a server's certificate

struct Subject
{
    const char* name;
    bool authority;
};

Key makeKey()
{
    return { EVP_EC_gen( "P-256" ), &EVP_PKEY_free };
}

void addExtension( X509* certificate, X509* issuer, int nid, const char* value )
{
    X509V3_CTX context;
    X509V3_set_ctx( &context, issuer, certificate, nullptr, nullptr, 0 );
    if ( X509_EXTENSION* extension = X509V3_EXT_conf_nid( nullptr, &context, nid, value ) )
    {
        X509_add_ext( certificate, extension, -1 );
        X509_EXTENSION_free( extension );
    }
}

void setSerial( X509* certificate )
{
    unsigned char bytes[16];
    RAND_bytes( bytes, sizeof bytes );
    bytes[0] &= 0x7f;
    BIGNUM* number = BN_bin2bn( bytes, sizeof bytes, nullptr );
    BN_to_ASN1_INTEGER( number, X509_get_serialNumber( certificate ) );
    BN_free( number );
}

/// A certificate of `key`, signed by the issuer (its own when there is none).
Certificate makeCertificate( const Subject& subject, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey )
{
    Certificate out( X509_new(), &X509_free );
    X509_set_version( out.get(), 2 );
    setSerial( out.get() );
    X509_gmtime_adj( X509_getm_notBefore( out.get() ), -cDay );
    X509_gmtime_adj( X509_getm_notAfter( out.get() ), cLifetime );
    X509_set_pubkey( out.get(), key );
    X509_NAME* name = X509_get_subject_name( out.get() );
    X509_NAME_add_entry_by_txt(
        name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>( subject.name ), -1, -1, 0 );
    X509* signer = issuer ? issuer : out.get();
    X509_set_issuer_name( out.get(), X509_get_subject_name( signer ) );
    if ( subject.authority )
    {
        addExtension( out.get(), signer, NID_basic_constraints, "critical,CA:TRUE,pathlen:0" );
        addExtension( out.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign" );
    }
    else
    {
        addExtension( out.get(), signer, NID_basic_constraints, "critical,CA:FALSE" );
        addExtension( out.get(), signer, NID_key_usage, "critical,digitalSignature" );
        addExtension( out.get(), signer, NID_ext_key_usage, "serverAuth" );
        addExtension( out.get(), signer, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1" );
    }
    addExtension( out.get(), signer, NID_subject_key_identifier, "hash" );
    addExtension( out.get(), signer, NID_authority_key_identifier, "keyid" );
    X509_sign( out.get(), issuerKey ? issuerKey : key, EVP_sha256() );
    return out;
}

std::string contents( BIO* bio )
{
    char* data = nullptr;
    const long size = BIO_get_mem_data( bio, &data );
    return { data, size_t( std::max( size, 0L ) ) };
}

std::string pem( X509* certificate )
{
    const Bio bio( BIO_new( BIO_s_mem() ), &BIO_free );
    PEM_write_bio_X509( bio.get(), certificate );
    return contents( bio.get() );
}

std::string pem( EVP_PKEY* key )
{
    const Bio bio( BIO_new( BIO_s_mem() ), &BIO_free );
    PEM_write_bio_PrivateKey( bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr );
    return contents( bio.get() );
}

bool isGood( const ServerCertificate& files )
{
    std::error_code ec;
    if ( !std::filesystem::exists( files.authority, ec ) || !std::filesystem::exists( files.key, ec ) )
        return false;
    const Bio bio( BIO_new_file( files.chain.c_str(), "r" ), &BIO_free );
    if ( !bio )
        return false;
    const Certificate certificate( PEM_read_bio_X509( bio.get(), nullptr, nullptr, nullptr ), &X509_free );
    if ( !certificate )
        return false;
    time_t inAMonth = time( nullptr ) + 30 * cDay;
    return X509_cmp_time( X509_get0_notAfter( certificate.get() ), &inAMonth ) > 0;
}

} // namespace

tl::expected<ServerCertificate, std::string> ensureCertificate( const std::filesystem::path& folder )
{
    const ServerCertificate files{ folder / "ca.pem", folder / "server.pem", folder / "server-key.pem" };
    if ( isGood( files ) )
        return files;
    const Key authorityKey = makeKey(), key = makeKey();
    if ( !authorityKey || !key )
        return tl::unexpected( std::string( "No key for the certificate can be made" ) );
    const auto authority = makeCertificate( { "Orvanta local authority", true }, authorityKey.get(), nullptr, nullptr );
    const auto server = makeCertificate( { "localhost", false }, key.get(), authority.get(), authorityKey.get() );
    auto written = writeFileAtomically( files.key, pem( key.get() ), { .mode = 0600 } )
                       .and_then( [&] { return writeFileAtomically( files.chain, pem( server.get() ) ); } )
                       .and_then( [&] { return writeFileAtomically( files.authority, pem( authority.get() ) ); } );
    if ( !written )
        return tl::unexpected( written.error() );
    return files;
}

} // namespace VX::Backend
