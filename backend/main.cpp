#include "commands/Lines.h"

#include <VXMesh/system/PrivateMemory.h>
#include <VXMesh/system/SystemInfo.h>
#include <VXMesh/system/TerminalLog.h>

#include <curl/curl.h>

#include <sys/stat.h>

int main( int argc, char** argv )
{
    namespace Lines = VX::Backend::Lines;
    VX::keepMemoryPrivate();
    VX::startTerminalLog( "backend" );
    curl_global_init( CURL_GLOBAL_DEFAULT );
    CLI::App app( "Back end of Orvanta: its services, on one machine or on many" );
    app.set_version_flag( "--version", VX::GetVXVersionString() );
    app.require_subcommand( 1 );
    app.set_config( "--config", "",
        "File of options, such as port=8443 below a line [serve], of which those given here are taken first" );
    app.allow_config_extras( CLI::config_extras_mode::error );
    Lines::Run run;
    for ( const auto add :
        { &Lines::addServe, &Lines::addWork, &Lines::addUser, &Lines::addMails, &Lines::addJobs, &Lines::addKeys,
            &Lines::addStats, &Lines::addBackup, &Lines::addDoctor, &Lines::addConvert, &Lines::addWorker } )
        add( app, run );
    CLI11_PARSE( app, argc, argv );
    // Whatever a command makes is for the service alone, but a converted file, which is the user's own. A worker has
    // the mask of whoever started it.
    if ( !app.got_subcommand( "convert" ) && !app.got_subcommand( "worker" ) )
        ::umask( 077 );
    return run();
}
