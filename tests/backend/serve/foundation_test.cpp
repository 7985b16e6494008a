#include "support/EnvironmentVariable.h"
#include "support/ScratchFolder.h"

#include "serve/Foundation.h"
#include "serve/MonitorListener.h"
#include "tls/Issuing.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

class Foundations : public testing::Test
{
protected:
    Foundations()
    {
        options_.data = folder_.path() / "data";
        options_.withoutSandbox = true;
    }
    /// Why no service could be started; empty where one could.
    [[nodiscard]] std::string problem() const
    {
        const auto checked = Foundation::check( options_ );
        EXPECT_FALSE( std::filesystem::exists( options_.data ) ) << "nothing is made";
        return checked ? "" : checked.error();
    }
    /// Those that its own certificate has besides the ones of this machine.
    [[nodiscard]] std::vector<std::string> names() const
    {
        const Testing::ScratchFolder data;
        auto options = options_;
        options.data = data.path();
        const auto certificate = Foundation::certificateOf( options ).value();
        auto out = subjectNamesOf( certificatesIn( certificate.chain ).at( 0 ).get() );
        EXPECT_GE( out.size(), 3u );
        out.erase( out.begin(), out.begin() + 3 );
        return out;
    }

    using Names = std::vector<std::string>;
    Testing::ScratchFolder folder_;
    ServiceOptions options_;
};

} // namespace

TEST_F( Foundations, WhatCannotBeIsToldInTheseWords )
{
    EXPECT_EQ( problem(), "" );
    for ( const std::string url : { "http://a", "https://", "https://a/b", "https://a?b", "https://a#b", "https://a@b",
              "https://a b", "ftp://convert.example.org" } )
    {
        options_.publicUrl = url;
        EXPECT_EQ( problem(), "\"" + url + "\" is no address such as https://convert.example.org" );
    }
    options_.publicUrl = "https://convert.example.org:8443//";
    EXPECT_EQ( problem(), "" );
    options_.trustedProxies = { "10.0.0.0/8", "10.0.0.0/99" };
    EXPECT_EQ( problem(), "\"10.0.0.0/99\" is no network such as 10.0.0.0/8" );
    options_.trustedProxies = {};
    options_.address = "nowhere";
    EXPECT_EQ( problem(), "\"nowhere\" is no address to listen on" );
    options_.address = "::1";
    for ( const std::string where : { "nowhere", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:65536", ":80x" } )
    {
        options_.monitor = where;
        EXPECT_EQ( problem(), "\"" + where + "\" is no listener such as 127.0.0.1:8444" );
    }
    options_.monitor = "other:80";
    EXPECT_EQ( problem(), "\"other\" is no address to listen on" );
    options_.monitor = "[::1]:80";
    EXPECT_EQ( problem(), "" );
}

TEST_F( Foundations, AnOperatorsCertificateHasToFitItsKey )
{
    const Testing::ScratchFolder files;
    const auto made = ensureCertificate( files.path() ).value();
    options_.tlsCertificate = made.chain;
    options_.tlsKey = made.key;
    EXPECT_EQ( problem(), "" );
    const auto used = Foundation::certificateOf( options_ ).value();
    EXPECT_EQ( used.chain, made.chain );
    EXPECT_EQ( used.key, made.key );
    options_.tlsKey = files.path() / "ca-key.pem";
    EXPECT_TRUE( problem().starts_with( "\"" + options_.tlsKey.string() + "\" cannot be used for TLS: " ) )
        << problem();
    options_.tlsCertificate = files.path() / "missing";
    EXPECT_TRUE( problem().starts_with( "\"" + options_.tlsCertificate.string() + "\" cannot be used for TLS: " ) )
        << problem();
}

TEST_F( Foundations, WithoutASandboxNoneIsLaidUnlessThatIsAllowed )
{
    std::filesystem::permissions(
        folder_.write( "bwrap", "#!/bin/sh\necho no namespaces here >&2\nexit 1\n" ), std::filesystem::perms( 0700 ) );
    const Testing::EnvironmentVariable path( "PATH", folder_.path() );
    options_.withoutSandbox = false;
    testing::internal::CaptureStderr();
    EXPECT_EQ( problem(), "bubblewrap cannot be used here, and strangers' files are not converted without it: install "
                          "it and allow namespaces of users, or take the risk with --without-sandbox" );
    EXPECT_EQ( testing::internal::GetCapturedStderr(), "no namespaces here\n" );
    options_.withoutSandbox = true;
    EXPECT_EQ( problem(), "" );
}

TEST_F( Foundations, TheOwnCertificateNamesWhatClientsCallTheService )
{
    EXPECT_EQ( names(), Names{} );
    for ( const char* everywhere : { "0.0.0.0", "::" } )
    {
        options_.address = everywhere;
        EXPECT_EQ( names(), Names{} ) << everywhere;
    }
    options_.address = "10.0.0.7";
    options_.publicUrl = "https://convert.example.org:8443";
    EXPECT_EQ( names(), ( Names{ "DNS:convert.example.org", "IP:10.0.0.7" } ) );
}

TEST_F( Foundations, HoldsAllThatAServiceNeeds )
{
    options_.publicUrl = "https://convert.example.org//";
    const auto laid = Foundation::lay( options_ );
    ASSERT_TRUE( laid ) << laid.error();
    EXPECT_EQ( laid->publicUrl, "https://convert.example.org" );
    EXPECT_EQ(
        Foundation::lay( options_ ).error().find( "The folder \"" + options_.data.string() + "\" is in use" ), 0u );
    EXPECT_EQ( laid->certificate.chain, options_.data / "server.pem" );
    EXPECT_EQ( laid->storeKeys.bucket, "orvanta" );
    EXPECT_EQ( laid->identityKeys.signing.size(), 1u );
    for ( const char* table : { "conversions", "accounts", "mails" } )
        EXPECT_TRUE( laid->database->query( std::string( "SELECT 1 FROM " ) + table ) ) << table;
    EXPECT_TRUE( laid->statistics->query( "SELECT 1 FROM stats_sessions" ) );
}

TEST( NamesOfRequests, AreSixteenDigitsAndNeverTheSame )
{
    const auto one = newRequestName();
    EXPECT_EQ( one.size(), 16u );
    EXPECT_EQ( one.find_first_not_of( "0123456789abcdef" ), std::string::npos );
    EXPECT_NE( newRequestName(), one );
}
