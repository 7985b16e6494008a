#include "commands/Lines.h"
#include "doctor/Doctor.h"

namespace VX::Backend::Lines
{

void addDoctor( CLI::App& app, Run& run )
{
    struct Line
    {
        Patient patient;
        uint64_t storedMebibytes = patient.maxStored >> 20;
    };
    const auto line = std::make_shared<Line>();
    auto& patient = line->patient;
    auto* command = app.add_subcommand( "doctor", "Say what is wrong with a service or its machine, and what to do" );
    command->add_option( "--data", patient.data, "Folder of the service's data, in which nothing is changed" )
        ->required();
    command->add_option( "--port", patient.port, "Its TCP port" )->capture_default_str();
    command->add_option( "--listen", patient.address, "Address that it listens on" )->capture_default_str();
    command->add_option( "--public-url", patient.publicUrl, "What clients call it" );
    command->add_option(
        "--tls-certificate", patient.tlsCertificate, "PEM file of its certificate, unless it is of its own" );
    command->add_option( "--tls-key", patient.tlsKey, "PEM file of the certificate's key" );
    command->add_option( "--max-stored", line->storedMebibytes, "MiB that uploads and results may take" )
        ->capture_default_str();
    command->footer( "Prints a line for each thing: ok, warn or fail. The status is 1 when anything fails, else 0." );
    command->callback(
        [line, &run]
        {
            line->patient.maxStored = line->storedMebibytes << 20;
            run = [line] { return runDoctor( line->patient ); };
        } );
}

} // namespace VX::Backend::Lines
