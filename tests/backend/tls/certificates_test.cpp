#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

#include "tls/Certificates.h"
#include "tls/Issuing.h"
#include "tls/TlsContext.h"

#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <set>

using namespace VX;
using namespace VX::Backend;
using namespace std::chrono_literals;
using std::chrono::days;

namespace
{

/// A folder with the certificate of a server, at a time that the test sets.
class Certificates : public testing::Test
{
protected:
    using Names = std::vector<std::string>;

    /// Whether another certificate was made.
    bool ensure()
    {
        const auto made = ensureCertificate( folder_.path(), { hosts_, now_ } );
        EXPECT_TRUE( made ) << made.error();
        // What clients trust and what the server shows go together at all times, and the server can use it.
        EXPECT_TRUE( isTrusted( leaf().get() ) );
        EXPECT_TRUE( makeTlsContext( made->chain, made->key ) );
        EXPECT_GT( endOf( leaf().get() ), now_ + days( 29 ) );
        return made->isNew;
    }
    [[nodiscard]] std::filesystem::path at( const char* name ) const { return folder_.path() / name; }
    [[nodiscard]] std::string text( const char* name ) const { return Testing::readFile( at( name ) ); }
    [[nodiscard]] TlsCertificate leaf() const { return std::move( certificatesIn( at( "server.pem" ) ).at( 0 ) ); }
    [[nodiscard]] bool isTrusted( X509* certificate ) const
    {
        const auto trusted = certificatesIn( at( "ca.pem" ) );
        return std::any_of( trusted.begin(), trusted.end(),
            [&]( const auto& authority ) { return isIssuedBy( certificate, authority.get() ); } );
    }
    [[nodiscard]] static std::string nameOf( const X509* certificate )
    {
        char name[100] = "";
        X509_NAME_get_text_by_NID( X509_get_subject_name( certificate ), NID_commonName, name, sizeof name );
        return name;
    }
    /// The extensions that nobody may overlook.
    [[nodiscard]] static std::set<int> critical( const X509* certificate )
    {
        std::set<int> out;
        for ( int at = -1; ( at = X509_get_ext_by_critical( certificate, 1, at ) ) >= 0; )
            out.insert( OBJ_obj2nid( X509_EXTENSION_get_object( X509_get_ext( certificate, at ) ) ) );
        return out;
    }
    /// What a version made that kept no key of its authority.
    void makeFormerForm()
    {
        const auto authorityKey = makeTlsKey(), key = makeTlsKey();
        const auto authority = makeCertificate( { "former", {}, now_, days( 825 ) }, authorityKey.get() );
        const auto server =
            makeCertificate( { "localhost", { "DNS:localhost", "IP:127.0.0.1", "IP:::1" }, now_, days( 825 ) },
                key.get(), authority.get(), authorityKey.get() );
        folder_.write( "ca.pem", pemOf( authority.get() ) );
        folder_.write( "server.pem", pemOf( server.get() ) );
        folder_.write( "server-key.pem", pemOf( key.get() ) );
    }

    Testing::ScratchFolder folder_;
    Names hosts_;
    std::chrono::sys_seconds now_ = systemTime();
};

} // namespace

TEST_F( Certificates, AreMadeOnceAndTheKeysArePrivate )
{
    EXPECT_TRUE( ensure() );
    for ( const char* name : { "server-key.pem", "ca-key.pem" } )
        EXPECT_EQ( std::filesystem::status( at( name ) ).permissions(), std::filesystem::perms( 0600 ) ) << name;
    EXPECT_EQ( subjectNamesOf( leaf().get() ), ( Names{ "DNS:localhost", "IP:127.0.0.1", "IP:::1" } ) );
    const auto before = text( "server.pem" ) + text( "ca.pem" ) + text( "server-key.pem" ) + text( "ca-key.pem" );
    EXPECT_FALSE( ensure() );
    EXPECT_EQ( text( "server.pem" ) + text( "ca.pem" ) + text( "server-key.pem" ) + text( "ca-key.pem" ), before );
}

TEST_F( Certificates, AreMadeAgainAMonthBeforeTheirEndByTheSameAuthority )
{
    ensure();
    const auto authority = text( "ca.pem" ), first = text( "server.pem" ), key = text( "server-key.pem" );
    EXPECT_EQ( endOf( leaf().get() ), now_ + days( 90 ) );
    now_ += days( 60 ) - 1s;
    EXPECT_FALSE( ensure() );
    EXPECT_EQ( text( "server.pem" ), first );
    now_ += 1s;
    EXPECT_TRUE( ensure() );
    EXPECT_EQ( endOf( leaf().get() ), now_ + days( 90 ) );
    EXPECT_NE( text( "server-key.pem" ), key );
    EXPECT_EQ( text( "ca.pem" ), authority ) << "clients that trust it go on to";
    EXPECT_EQ( std::filesystem::status( at( "server-key.pem" ) ).permissions(), std::filesystem::perms( 0600 ) );
    EXPECT_FALSE( ensure() );
}

TEST_F( Certificates, AreMadeAgainWhenDamagedByTheSameAuthority )
{
    ensure();
    const auto authority = text( "ca.pem" ), foreignKey = pemOf( makeTlsKey().get() );
    for ( const auto& [name, damage] : { std::pair( "server.pem", std::string( "garbage" ) ),
              std::pair( "server-key.pem", std::string() ), std::pair( "server-key.pem", foreignKey ) } )
    {
        folder_.write( name, damage );
        EXPECT_TRUE( ensure() ) << name;
        EXPECT_EQ( text( "ca.pem" ), authority ) << name;
    }
    std::filesystem::remove( at( "server.pem" ) );
    EXPECT_TRUE( ensure() );
    EXPECT_EQ( text( "ca.pem" ), authority );
}

TEST_F( Certificates, NameWhatClientsCallTheServer )
{
    hosts_ = { "Convert.Example.org", "10.0.0.7", "fd00:0::7", "127.0.0.1", "", "two words", "a,DNS:b" };
    ensure();
    const Names wanted{
        "DNS:localhost", "IP:127.0.0.1", "IP:::1", "DNS:convert.example.org", "IP:10.0.0.7", "IP:fd00::7" };
    EXPECT_EQ( subjectNamesOf( leaf().get() ), wanted );
    EXPECT_FALSE( ensure() );
    const auto authority = text( "ca.pem" );
    hosts_ = { "other.example.org" };
    EXPECT_TRUE( ensure() );
    EXPECT_EQ( subjectNamesOf( leaf().get() ).back(), "DNS:other.example.org" );
    EXPECT_EQ( text( "ca.pem" ), authority );
}

TEST_F( Certificates, SayWhoMadeThemAndWhatTheyAreFor )
{
    ensure();
    const auto authority = std::move( certificatesIn( at( "ca.pem" ) ).at( 0 ) ), server = leaf();
    EXPECT_TRUE( nameOf( authority.get() ).starts_with( "Orvanta local authority " ) ) << nameOf( authority.get() );
    EXPECT_EQ( nameOf( server.get() ), "localhost" );
    EXPECT_EQ( X509_check_ca( authority.get() ), 1 );
    EXPECT_EQ( X509_get_pathlen( authority.get() ), 0 );
    EXPECT_EQ( X509_check_ca( server.get() ), 0 );
    EXPECT_EQ( X509_get_key_usage( authority.get() ), uint32_t( KU_KEY_CERT_SIGN | KU_CRL_SIGN ) );
    EXPECT_EQ( X509_get_key_usage( server.get() ), uint32_t( KU_DIGITAL_SIGNATURE ) );
    EXPECT_EQ( X509_get_extended_key_usage( server.get() ), uint32_t( XKU_SSL_SERVER ) );
    for ( const auto* one : { authority.get(), server.get() } )
    {
        EXPECT_EQ( X509_get_version( one ), X509_VERSION_3 );
        EXPECT_EQ( critical( one ), ( std::set<int>{ NID_basic_constraints, NID_key_usage } ) );
        // Clocks of clients may be late.
        time_t begin = ( now_ - days( 1 ) ).time_since_epoch().count();
        EXPECT_NE( X509_cmp_time( X509_get0_notBefore( one ), &begin ), 1 );
        begin -= 2;
        EXPECT_EQ( X509_cmp_time( X509_get0_notBefore( one ), &begin ), 1 );
    }
    const auto* const maker = X509_get0_subject_key_id( authority.get() );
    const auto* const own = X509_get0_subject_key_id( server.get() );
    const auto* const madeBy = X509_get0_authority_key_id( server.get() );
    ASSERT_TRUE( maker && own && madeBy );
    EXPECT_EQ( ASN1_STRING_cmp( madeBy, maker ), 0 );
    EXPECT_NE( ASN1_STRING_cmp( own, maker ), 0 );
}

TEST_F( Certificates, HaveNumbersThatNobodyGuesses )
{
    const auto key = makeTlsKey();
    std::set<std::string> numbers;
    for ( int i = 0; i < 20; ++i )
    {
        const auto made = makeCertificate( { "one", {}, now_, days( 1 ) }, key.get() );
        const auto* const number = X509_get0_serialNumber( made.get() );
        EXPECT_GT( ASN1_STRING_length( number ), 12 );
        EXPECT_EQ( ASN1_STRING_type( number ), V_ASN1_INTEGER ) << "a negative one has another type";
        numbers.emplace(
            reinterpret_cast<const char*>( ASN1_STRING_get0_data( number ) ), size_t( ASN1_STRING_length( number ) ) );
    }
    EXPECT_EQ( numbers.size(), 20u );
}

TEST_F( Certificates, OfAFolderOfAnOlderVersionStayUntilClientsCanTrustTheNextOne )
{
    makeFormerForm();
    const auto former = text( "ca.pem" ), server = text( "server.pem" );
    hosts_ = { "convert.example.org" };
    const Testing::LogCapture log;
    EXPECT_FALSE( ensure() );
    EXPECT_EQ( log.text(), "warning: There is a new authority in \"" + at( "ca.pem" ).string() +
                               "\": who has a copy of the file needs a new one\n" );
    EXPECT_EQ( text( "server.pem" ), server );
    EXPECT_TRUE( text( "ca.pem" ).ends_with( former ) );
    EXPECT_EQ( certificatesIn( at( "ca.pem" ) ).size(), 2u ) << "both are trusted";
    EXPECT_FALSE( ensure() );
    const auto both = text( "ca.pem" );
    now_ += days( 795 );
    EXPECT_TRUE( ensure() );
    EXPECT_EQ( text( "ca.pem" ), both );
    EXPECT_TRUE( isIssuedBy( leaf().get(), certificatesIn( at( "ca.pem" ) ).front().get() ) );
    EXPECT_EQ( subjectNamesOf( leaf().get() ).back(), "DNS:convert.example.org" );
}

TEST_F( Certificates, AnAuthorityIsFollowedByAnotherAYearBeforeItsEnd )
{
    ensure();
    const auto first = text( "ca.pem" );
    now_ += days( 3650 - 365 ) - days( 60 );
    EXPECT_TRUE( ensure() );
    EXPECT_EQ( text( "ca.pem" ), first );
    const auto server = text( "server.pem" );
    now_ += days( 59 );
    EXPECT_FALSE( ensure() );
    EXPECT_EQ( text( "ca.pem" ), first );
    now_ += days( 1 ) - 1h;
    EXPECT_FALSE( ensure() );
    now_ += 1h;
    EXPECT_TRUE( ensure() ) << "the leaf is due on the same day";
    EXPECT_TRUE( text( "ca.pem" ).ends_with( first ) ) << "who has signed the leaf of yesterday is trusted";
    EXPECT_NE( text( "server.pem" ), server );
    EXPECT_TRUE( isIssuedBy( leaf().get(), certificatesIn( at( "ca.pem" ) ).front().get() ) );
}

TEST_F( Certificates, AnAuthorityWhoseKeyIsLostIsReplaced )
{
    ensure();
    const auto first = text( "ca.pem" );
    for ( const auto& key : { std::string( "garbage" ), pemOf( makeTlsKey().get() ) } )
    {
        folder_.write( "ca-key.pem", key );
        EXPECT_FALSE( ensure() ) << "the leaf is still good";
        EXPECT_NE( text( "ca-key.pem" ), key );
        EXPECT_TRUE( text( "ca.pem" ).ends_with( first ) );
        EXPECT_EQ( certificatesIn( at( "ca.pem" ) ).size(), 2u ) << "those who have signed nothing that is used go";
    }
    EXPECT_EQ( std::filesystem::status( at( "ca-key.pem" ) ).permissions(), std::filesystem::perms( 0600 ) );
}
