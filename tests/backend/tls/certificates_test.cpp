#include "support/ScratchFolder.h"

#include "tls/Certificates.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;

TEST( Certificates, AreMadeOnceAndTheKeyIsPrivate )
{
    const Testing::ScratchFolder folder;
    const auto made = ensureCertificate( folder.path() );
    ASSERT_TRUE( made ) << made.error();
    EXPECT_EQ( made->authority, folder.path() / "ca.pem" );
    EXPECT_EQ( std::filesystem::status( made->key ).permissions(), std::filesystem::perms( 0600 ) );
    const auto before = Testing::readFile( made->chain );
    ASSERT_TRUE( ensureCertificate( folder.path() ) );
    EXPECT_EQ( Testing::readFile( made->chain ), before );
}

TEST( Certificates, AreMadeAgainWhenDamaged )
{
    const Testing::ScratchFolder folder;
    const auto made = ensureCertificate( folder.path() );
    folder.write( "server.pem", "garbage" );
    ASSERT_TRUE( ensureCertificate( folder.path() ) );
    EXPECT_TRUE( Testing::readFile( made->chain ).starts_with( "-----BEGIN CERTIFICATE-----" ) );
}
