#include "tls/Issuing.h"

#include <VXMesh/io/Text.h>

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>

#include <arpa/inet.h>

namespace VX::Backend
{
namespace
{

using Bio = std::unique_ptr<BIO, decltype( &BIO_free )>;

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

void setPeriod( X509* certificate, const CertificatePlan& plan )
{
    const auto seconds = []( std::chrono::sys_seconds time ) { return time_t( time.time_since_epoch().count() ); };
    ASN1_TIME_set( X509_getm_notBefore( certificate ), seconds( plan.now - std::chrono::days( 1 ) ) );
    ASN1_TIME_set( X509_getm_notAfter( certificate ), seconds( plan.now + plan.life ) );
}

std::string listOf( const std::vector<std::string>& names )
{
    std::string out;
    for ( const auto& name : names )
        out += ( out.empty() ? "" : "," ) + name;
    return out;
}

std::string contents( BIO* bio )
{
    char* data = nullptr;
    const long size = BIO_get_mem_data( bio, &data );
    return { data, size_t( std::max( size, 0L ) ) };
}

/// An address of so many bytes, as its bytes; empty where the text is none.
std::string addressIn( const std::string& text, int family, size_t size )
{
    std::string out( size, '\0' );
    return ::inet_pton( family, text.c_str(), out.data() ) == 1 ? out : std::string();
}

std::string addressText( const std::string& bytes )
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    return ::inet_ntop( bytes.size() == 4 ? AF_INET : AF_INET6, bytes.data(), text.data(), text.size() );
}

std::string textOf( const ASN1_STRING* text )
{
    return { reinterpret_cast<const char*>( ASN1_STRING_get0_data( text ) ), size_t( ASN1_STRING_length( text ) ) };
}

/// Empty for a kind that no server of ours has.
std::string textOf( const GENERAL_NAME* name )
{
    if ( name->type == GEN_DNS )
        return "DNS:" + textOf( name->d.dNSName );
    const auto address = name->type == GEN_IPADD ? textOf( name->d.iPAddress ) : std::string();
    return address.size() == 4 || address.size() == 16 ? "IP:" + addressText( address ) : std::string();
}

} // namespace

TlsKey makeTlsKey()
{
    return { EVP_EC_gen( "P-256" ), &EVP_PKEY_free };
}

TlsCertificate makeCertificate( const CertificatePlan& plan, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey )
{
    TlsCertificate out( X509_new(), &X509_free );
    X509_set_version( out.get(), 2 );
    setSerial( out.get() );
    setPeriod( out.get(), plan );
    X509_set_pubkey( out.get(), key );
    X509_NAME_add_entry_by_txt( X509_get_subject_name( out.get() ), "CN", MBSTRING_UTF8,
        reinterpret_cast<const unsigned char*>( plan.name.c_str() ), -1, -1, 0 );
    X509* signer = issuer ? issuer : out.get();
    X509_set_issuer_name( out.get(), X509_get_subject_name( signer ) );
    if ( !issuer )
    {
        addExtension( out.get(), signer, NID_basic_constraints, "critical,CA:TRUE,pathlen:0" );
        addExtension( out.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign" );
    }
    else
    {
        addExtension( out.get(), signer, NID_basic_constraints, "critical,CA:FALSE" );
        addExtension( out.get(), signer, NID_key_usage, "critical,digitalSignature" );
        addExtension( out.get(), signer, NID_ext_key_usage, "serverAuth" );
        addExtension( out.get(), signer, NID_subject_alt_name, listOf( plan.subjectNames ).c_str() );
    }
    addExtension( out.get(), signer, NID_subject_key_identifier, "hash" );
    addExtension( out.get(), signer, NID_authority_key_identifier, "keyid" );
    X509_sign( out.get(), issuerKey ? issuerKey : key, EVP_sha256() );
    return out;
}

std::string pemOf( X509* certificate )
{
    const Bio bio( BIO_new( BIO_s_mem() ), &BIO_free );
    PEM_write_bio_X509( bio.get(), certificate );
    return contents( bio.get() );
}

std::string pemOf( EVP_PKEY* key )
{
    const Bio bio( BIO_new( BIO_s_mem() ), &BIO_free );
    PEM_write_bio_PrivateKey( bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr );
    return contents( bio.get() );
}

std::vector<TlsCertificate> certificatesIn( const std::filesystem::path& file )
{
    std::vector<TlsCertificate> out;
    const Bio bio( BIO_new_file( file.c_str(), "r" ), &BIO_free );
    while ( X509* one = bio ? PEM_read_bio_X509( bio.get(), nullptr, nullptr, nullptr ) : nullptr )
        out.emplace_back( one, &X509_free );
    return out;
}

TlsKey keyIn( const std::filesystem::path& file )
{
    const Bio bio( BIO_new_file( file.c_str(), "r" ), &BIO_free );
    return { bio ? PEM_read_bio_PrivateKey( bio.get(), nullptr, nullptr, nullptr ) : nullptr, &EVP_PKEY_free };
}

std::chrono::sys_seconds endOf( const X509* certificate )
{
    const std::unique_ptr<ASN1_TIME, decltype( &ASN1_TIME_free )> epoch( ASN1_TIME_set( nullptr, 0 ), &ASN1_TIME_free );
    int days = 0, seconds = 0;
    ASN1_TIME_diff( &days, &seconds, epoch.get(), X509_get0_notAfter( certificate ) );
    return std::chrono::sys_seconds( std::chrono::days( days ) + std::chrono::seconds( seconds ) );
}

std::string subjectNameOf( const std::string& host )
{
    for ( const auto& address : { addressIn( host, AF_INET, 4 ), addressIn( host, AF_INET6, 16 ) } )
        if ( !address.empty() )
            return "IP:" + addressText( address );
    const bool plain = std::all_of( host.begin(), host.end(),
        []( unsigned char c ) { return c == '-' || c == '.' || ( c < 0x80 && std::isalnum( c ) ); } );
    return plain && !host.empty() ? "DNS:" + toLower( host ) : std::string();
}

std::vector<std::string> subjectNamesOf( const X509* certificate )
{
    std::vector<std::string> out;
    const std::unique_ptr<GENERAL_NAMES, decltype( &GENERAL_NAMES_free )> names(
        static_cast<GENERAL_NAMES*>( X509_get_ext_d2i( certificate, NID_subject_alt_name, nullptr, nullptr ) ),
        &GENERAL_NAMES_free );
    for ( int i = 0; names && i < sk_GENERAL_NAME_num( names.get() ); ++i )
        out.push_back( textOf( sk_GENERAL_NAME_value( names.get(), i ) ) );
    return out;
}

bool isIssuedBy( X509* certificate, X509* authority )
{
    return X509_check_issued( authority, certificate ) == X509_V_OK &&
           X509_verify( certificate, X509_get0_pubkey( authority ) ) == 1;
}

} // namespace VX::Backend
