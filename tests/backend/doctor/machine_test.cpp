#include "support/EnvironmentVariable.h"
#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include "converter/Bubblewrap.h"
#include "crypto/Base64.h"
#include "doctor/Checks.h"
#include "http/HttpServer.h"
#include "tls/Certificates.h"

#include <gtest/gtest.h>

#include <atomic>

#include <sys/resource.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

void expectFinding( const Finding& found, Verdict verdict, const std::string& about, const std::string& text )
{
    EXPECT_EQ( int( found.verdict ), int( verdict ) );
    EXPECT_EQ( found.about, about );
    EXPECT_EQ( found.text, text );
}

/// Alive, unless it is told otherwise.
class Alive final : public HttpHandler
{
public:
    void plan( HttpRequest /*head*/, Planned planned ) override { planned( {} ); }
    void handle( HttpRequest request, Respond respond ) override
    {
        HttpResponse out;
        out.status = request.path == "/livez" ? status.load() : 404;
        out.body = "alive";
        respond( std::move( out ) );
    }
    std::atomic<int> status = 200;
};

/// The folder of a service that listens somewhere on this machine.
class ServiceAtAPort : public testing::Test
{
protected:
    void listen( const std::string& address )
    {
        HttpServerOptions options;
        options.address = patient_.address = address;
        options.port = 0;
        options.certificateFile = certificate_.chain;
        options.keyFile = certificate_.key;
        server_ = HttpServer::start( options, alive_ ).value();
        patient_.data = folder_.path();
        patient_.port = server_->port();
        patient_.isRunning = true;
    }
    [[nodiscard]] std::string place() const
    {
        return "port " + std::to_string( patient_.port ) + " of " + patient_.address;
    }
    void expectAnswer() const
    {
        expectFinding( checkPort( patient_ ), Verdict::Ok, "service", "It answers at " + place() );
    }
    /// The reason may be one of another's words.
    void expectNone( const std::string& why = {} ) const
    {
        const auto begin = "A service has the folder, but it does not answer at " + place() + " (" + why;
        const std::string end = "); give its --port and --listen, or look into its log";
        const auto found = checkPort( patient_ );
        EXPECT_TRUE( found.text.starts_with( begin ) && found.text.ends_with( end ) ) << found.text;
        expectFinding( found, Verdict::Fail, "service", why.empty() ? found.text : begin + end );
    }

    Testing::ScratchFolder folder_;
    ServerCertificate certificate_ = ensureCertificate( folder_.path() ).value();
    Alive alive_;
    std::unique_ptr<HttpServer> server_;
    Patient patient_;
};

} // namespace

TEST_F( ServiceAtAPort, IsAskedWhereItListens )
{
    listen( "127.0.0.1" );
    expectAnswer();
    patient_.address = "0.0.0.0";
    expectAnswer();
    alive_.status = 503;
    expectNone( "it answers 503" );
    server_.reset();
    expectNone();
    alive_.status = 200;
    listen( "::1" );
    expectAnswer();
    patient_.address = "::";
    expectAnswer();
}

TEST_F( ServiceAtAPort, IsNoneThatShowsAStrangersCertificate )
{
    listen( "127.0.0.1" );
    const Testing::ScratchFolder other;
    ASSERT_TRUE( ensureCertificate( other.path() ) );
    patient_.data = other.path();
    expectNone();
    // Whose an operator's certificate is has another finding of its own.
    patient_.tlsCertificate = certificate_.chain;
    expectAnswer();
}

TEST( DoctorOfTheMachine, TellsWhetherThereIsASandbox )
{
    Patient patient;
    patient.hasBubblewrap = true;
    expectFinding( checkSandbox( patient ), Verdict::Ok, "sandbox", "bubblewrap can be used" );
    patient.hasBubblewrap = false;
    expectFinding( checkSandbox( patient ), Verdict::Warn, "sandbox",
        "bubblewrap cannot be used here, and a service starts with --without-sandbox alone; install it (package "
        "bubblewrap) and allow namespaces of users" );
}

TEST( DoctorOfTheMachine, TriesAWorkerAsTheServiceRunsIt )
{
    const Testing::ScratchFolder folder;
    Patient patient;
    patient.hasBubblewrap = canUseBubblewrap();
    const auto workWhere = [&]( const std::string& condition )
    {
        patient.worker = { "/usr/bin/sh", "-c",
            "cd \"$0\" && head -c 1 > go && " + condition + " && echo " + base64( Testing::cubeFile() ) +
                " | base64 -d > result.vxu && echo '{\"done\":true}'" };
    };
    const auto expectOk = [&]
    { expectFinding( checkWorker( patient ), Verdict::Ok, "worker", "A worker has converted a cube" ); };
    const std::string seen = "test -e '" + folder.path().string() + "'";
    workWhere( "! " + seen );
    if ( canUseBubblewrap() )
        expectOk();
    patient.hasBubblewrap = false;
    const auto found = checkWorker( patient );
    EXPECT_EQ( int( found.verdict ), int( Verdict::Fail ) );
    EXPECT_TRUE(
        found.text.starts_with( "No file can be converted here: a worker was tried with a cube and failed, \"" ) )
        << found.text;
    workWhere( seen );
    expectOk();
    const Testing::EnvironmentVariable temporary( "TMPDIR", folder.path() / "none" );
    expectFinding( checkWorker( patient ), Verdict::Fail, "worker",
        "No working folder can be made; set TMPDIR to a folder with space" );
}

TEST( DoctorOfTheMachine, OutlivesWorkersThatEndBeforeTheyAreAsked )
{
    Patient patient;
    patient.worker = { "/usr/bin/false" };
    for ( int i = 0; i < 20; ++i )
        EXPECT_EQ( int( checkWorker( patient ).verdict ), int( Verdict::Fail ) );
}

TEST( DoctorOfTheMachine, TellsHowManyDescriptorsThereMayBe )
{
    rlimit limit{};
    ASSERT_EQ( ::getrlimit( RLIMIT_NOFILE, &limit ), 0 );
    if ( limit.rlim_max < 8448 )
        GTEST_SKIP() << "there are fewer than a service should have";
    expectFinding( checkDescriptors(), Verdict::Ok, "descriptors", "There may be " + std::to_string( limit.rlim_max ) );
}
