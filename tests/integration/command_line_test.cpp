#include "TestPlaces.h"
#include "support/ApprovedText.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"

#include <csignal>

using namespace VX;

namespace
{

const std::string cBackend = ORVANTA_BACKEND;

/// What a command says of itself, wherever the program lies.
std::string helpOf( const std::string& command )
{
    auto text = Testing::runCommand( cBackend + command + " --help" ).text;
    for ( auto at = text.find( cBackend ); at != std::string::npos; at = text.find( cBackend ) )
        text.replace( at, cBackend.size(), "orvanta-backend" );
    return "$ orvanta-backend" + command + " --help\n" + text + "\n";
}

} // namespace

TEST( BackendCommandLine, HelpsInTheseWords )
{
    std::string all;
    for ( const char* command : { "", " serve", " work", " user", " user add", " user list", " user confirm",
              " user reset", " user block", " user unblock", " user remove", " user export", " user erase", " mails",
              " mails list", " mails retry", " jobs", " jobs list", " jobs show", " jobs retry", " jobs cancel",
              " keys", " keys list", " keys rotate", " stats", " backup", " restore", " doctor", " convert" } )
        all += helpOf( command );
    Testing::expectApproved( all, "integration/approved/backend-help.txt" );
}

TEST( BackendCommandLine, EndsInOrderWhenItIsToldTo )
{
    for ( const int signal : { SIGTERM, SIGINT } )
    {
        Testing::BackendProcess backend;
        backend.signal( signal );
        EXPECT_EQ( backend.awaitEnd(), 0 ) << signal;
    }
}
