#include "commands/Lines.h"
#include "doctor/Doctor.h"

namespace VX::Backend::Lines
{
namespace
{

/// Takes what a file of options says to "serve" for each option that was not given here.
void takeFromServe( CLI::App& app, CLI::App& command )
{
    const auto* serve = app.get_subcommand( "serve" );
    for ( auto* option : command.get_options( []( const CLI::Option* one ) { return one->get_configurable(); } ) )
    {
        const auto* theirs = serve->get_option_no_throw( option->get_name() );
        if ( option->count() > 0 || !theirs || theirs->count() == 0 )
            continue;
        option->add_result( theirs->results() );
        option->run_callback();
    }
}

} // namespace

void addDoctor( CLI::App& app, Run& run )
{
    struct Line
    {
        Patient patient;
        uint64_t storedMebibytes = patient.maxStored >> 20;
    };
    const auto line = std::make_shared<Line>();
    auto& patient = line->patient;
    auto* command = app.add_subcommand( "doctor", "Say what is wrong with a service or its machine, and what to do" )
                        ->fallthrough();
    command->add_option( "--data", patient.data,
        "Folder of the service's data, in which nothing is changed; has to be given, here or by the file of --config" );
    command->add_option( "--port", patient.port, "Its TCP port" )->capture_default_str();
    command->add_option( "--listen", patient.address, "Address that it listens on" )->capture_default_str();
    command->add_option( "--public-url", patient.publicUrl, "What clients call it" );
    command->add_option(
        "--tls-certificate", patient.tlsCertificate, "PEM file of its certificate, unless it is of its own" );
    command->add_option( "--tls-key", patient.tlsKey, "PEM file of the certificate's key" );
    command->add_option( "--max-stored", line->storedMebibytes, "MiB that uploads and results may take" )
        ->capture_default_str();
    command->footer(
        "Prints a line for each thing: ok, warn or fail. The status is 1 when anything fails, else 0. What is "
        "not given here is\ntaken from the section [serve] of the file of --config." );
    command->callback(
        [line, command, &app, &run]
        {
            takeFromServe( app, *command );
            if ( line->patient.data.empty() )
                throw CLI::RequiredError( "--data" );
            line->patient.maxStored = line->storedMebibytes << 20;
            run = [line] { return runDoctor( line->patient ); };
        } );
}

} // namespace VX::Backend::Lines
