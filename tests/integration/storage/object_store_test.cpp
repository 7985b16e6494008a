#include "support/Command.h"
#include "support/Patience.h"
#include "support/ScratchFolder.h"
#include "support/store/Swift.h"

#include "clock/SystemTime.h"
#include "http/HttpServer.h"
#include "storage/EmbeddedStore.h"
#include "storage/s3/S3Store.h"

#include <gtest/gtest.h>

#include <thread>

using namespace VX;
using namespace VX::Backend;

namespace
{

constexpr std::chrono::seconds cLife{ 100 };

/// A store, and how clients reach it.
struct Place
{
    virtual ~Place() = default;
    [[nodiscard]] virtual ObjectStore& store() = 0;
    /// What curl needs to trust it.
    [[nodiscard]] virtual std::string trust() const { return {}; }
};

/// In a folder, behind a server of this process.
class FolderPlace final : public Place
{
public:
    FolderPlace()
        : store_( { folder_.path(), "orvanta", { "AKID", "secret" }, 1 << 20, 1 << 20, &systemTime, {}, {}, {} } )
    {
        HttpServerOptions options;
        options.port = 0;
        options.plain = true;
        server_ = HttpServer::start( options, store_ ).value();
        store_.setEndpoint( "http://127.0.0.1:" + std::to_string( server_->port() ) );
    }
    ObjectStore& store() override { return store_; }

private:
    Testing::ScratchFolder folder_;
    EmbeddedStore store_;
    std::unique_ptr<HttpServer> server_;
};

class SwiftPlace final : public Place
{
public:
    SwiftPlace()
        : store_( { Testing::swiftBucket(), {}, 1 << 20, [] { return uint64_t( 0 ); }, &systemTime } )
    {
    }
    ObjectStore& store() override { return store_; }
    std::string trust() const override { return "--cacert '" + Testing::swiftCertificate().string() + "'"; }

private:
    S3Store store_;
};

struct Kind
{
    const char* name;
    std::unique_ptr<Place> ( *make )();
};

void PrintTo( const Kind& kind, std::ostream* out )
{
    *out << kind.name;
}

class ObjectStores : public testing::TestWithParam<Kind>
{
protected:
    ObjectStore& store() { return place_->store(); }

    /// The status that curl gets for a request to a URL.
    std::string curl( const std::string& options, const std::string& url )
    {
        return Testing::runCommand( "curl -s -m 60 -o '" + heard().string() + "' -w '%{http_code}' " + place_->trust() +
                                    " " + options + " '" + url + "'" )
            .text;
    }
    [[nodiscard]] std::filesystem::path heard() const { return folder_.path() / "heard"; }
    std::string put( const std::string& key, const std::string& bytes )
    {
        return curl( "-T '" + folder_.write( "sent", bytes ).string() + "'", store().putUrl( key, cLife ) );
    }
    /// What the service itself finds under a key.
    std::string fetched( const std::string& key )
    {
        const auto file = folder_.path() / ( "fetched-" + std::to_string( ++count_ ) );
        const auto done = store().fetch( key, file );
        return done ? Testing::readFile( file ) : "(" + done.error().text + ")";
    }
    bool exists( const std::string& key ) { return store().sizeOf( key ).value().has_value(); }
    /// No other test's, and none of a run before.
    [[nodiscard]] std::string key( const std::string& name ) const
    {
        return name + "-" + folder_.path().filename().string();
    }

    Testing::ScratchFolder folder_;

private:
    std::unique_ptr<Place> place_ = GetParam().make();
    int count_ = 0;
};

} // namespace

TEST_P( ObjectStores, TakeAnUploadByItsUrlAndGiveItBackByAnother )
{
    const std::string bytes = std::string( 70'000, 'x' ) + std::string( 1, '\0' ) + "end";
    const auto upload = key( "uploads/a" );
    EXPECT_FALSE( exists( upload ) );
    EXPECT_EQ( put( upload, bytes ), "200" );
    EXPECT_EQ( store().sizeOf( upload ).value(), bytes.size() );
    EXPECT_EQ( fetched( upload ), bytes );
    EXPECT_EQ( curl( "", store().getUrl( upload, cLife ) ), "200" );
    EXPECT_EQ( Testing::readFile( heard() ), bytes );
    EXPECT_EQ( curl( "-r 70000-", store().getUrl( upload, cLife ) ), "206" );
    EXPECT_EQ( Testing::readFile( heard() ), std::string( 1, '\0' ) + "end" );
}

TEST_P( ObjectStores, ALaterUploadTakesThePlaceOfTheFormer )
{
    const auto upload = key( "uploads/a" );
    EXPECT_EQ( put( upload, "first" ), "200" );
    EXPECT_EQ( put( upload, "2nd" ), "200" );
    EXPECT_EQ( fetched( upload ), "2nd" );
    EXPECT_EQ( put( upload, "" ), "200" );
    EXPECT_EQ( fetched( upload ), "" );
}

TEST_P( ObjectStores, AResultIsStoredAndReplaced )
{
    const auto result = key( "results/a/1" );
    ASSERT_TRUE( store().store( result, folder_.write( "result", "first" ) ) );
    EXPECT_EQ( fetched( result ), "first" );
    ASSERT_TRUE( store().store( result, folder_.write( "result", "second" ) ) );
    EXPECT_EQ( curl( "", store().getUrl( result, cLife ) ), "200" );
    EXPECT_EQ( Testing::readFile( heard() ), "second" );
}

TEST_P( ObjectStores, WhatIsMissingIsToldFromAll )
{
    const auto nowhere = folder_.path() / "nowhere";
    const auto fetched = store().fetch( key( "uploads/none" ), nowhere );
    ASSERT_FALSE( fetched );
    EXPECT_EQ( fetched.error().kind, StoreTrouble::Missing ) << fetched.error().text;
    EXPECT_FALSE( std::filesystem::exists( nowhere ) );
    const auto stored = store().store( key( "results/none/1" ), nowhere );
    ASSERT_FALSE( stored );
    EXPECT_EQ( stored.error().kind, StoreTrouble::Missing ) << stored.error().text;
    EXPECT_EQ( curl( "", store().getUrl( key( "results/none/1" ), cLife ) ), "404" );
}

TEST_P( ObjectStores, WhatIsRemovedIsGoneAndMayBeRemovedAgain )
{
    const auto upload = key( "uploads/a" );
    EXPECT_EQ( put( upload, "x" ), "200" );
    store().remove( upload );
    EXPECT_FALSE( exists( upload ) );
    store().remove( upload );
    EXPECT_EQ( put( upload, "y" ), "200" );
    EXPECT_EQ( fetched( upload ), "y" );
}

TEST_P( ObjectStores, AUrlIsGoodForOneObjectOneMethodAndItsTime )
{
    const auto upload = key( "uploads/a" );
    EXPECT_EQ( put( upload, "x" ), "200" );
    auto other = store().getUrl( upload, cLife );
    other.replace( other.find( "/a-" ), 3, "/b-" );
    EXPECT_EQ( curl( "", other ), "403" );
    EXPECT_EQ( curl( "", store().putUrl( upload, cLife ) ), "403" );
    EXPECT_EQ( curl( "-X DELETE", store().putUrl( upload, cLife ) ).substr( 0, 2 ), "40" );
    auto longer = store().getUrl( upload, cLife );
    longer.replace( longer.find( "Expires=100" ), 11, "Expires=999" );
    EXPECT_EQ( curl( "", longer ), "403" );
    EXPECT_EQ( curl( "", store().getUrl( upload, cLife ) ), "200" );
}

TEST_P( ObjectStores, WhatHasLainForLongGoes )
{
    const auto upload = key( "uploads/a" ), result = key( "results/a/1" );
    EXPECT_EQ( put( upload, "x" ), "200" );
    ASSERT_TRUE( store().store( result, folder_.write( "result", "x" ) ) );
    for ( int part = 0; part < 16; ++part )
        store().removeOlder( std::chrono::hours( 1 ) );
    EXPECT_TRUE( exists( upload ) && exists( result ) );
    // Until the second is over in which they were written.
    for ( const Testing::Patience patience; exists( upload ) || exists( result );
        patience.check( "what is old stays" ) )
    {
        store().removeOlder( std::chrono::seconds( 0 ) );
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    }
}

INSTANTIATE_TEST_SUITE_P( Of, ObjectStores,
    testing::Values( Kind{ "AFolder", [] { return std::unique_ptr<Place>( new FolderPlace ); } },
        Kind{ "Swift", [] { return std::unique_ptr<Place>( new SwiftPlace ); } } ),
    []( const auto& info ) { return std::string( info.param.name ); } );
