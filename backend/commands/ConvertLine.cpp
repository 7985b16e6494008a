#include "commands/Lines.h"
#include "converter/ConvertCommand.h"

namespace VX::Backend::Lines
{

void addWorkerLimits( CLI::App& command, std::optional<uint64_t>& mebibytes, int64_t& seconds )
{
    command.add_option( "--worker-memory", mebibytes,
        "MiB of memory of one conversion, all its processes together; a fair part of three quarters of this machine's "
        "unless given" );
    command.add_option( "--worker-time", seconds, "Seconds that one conversion may take" )
        ->check( CLI::Range( 1, 86400 ) )
        ->capture_default_str();
}

void addConvert( CLI::App& app, Run& run )
{
    struct Line
    {
        ConvertCommand convert;
        std::optional<uint64_t> mebibytes;
        int64_t seconds = convert.limits.time.count();
    };
    const auto line = std::make_shared<Line>();
    auto* command = app.add_subcommand( "convert", "Convert a STEP file into a scene file, without a service" );
    command->add_option( "input", line->convert.input, "STEP file" )->required();
    command->add_option( "output", line->convert.output, "Scene file to write, OUT.vxu" )->required();
    addWorkerLimits( *command, line->mebibytes, line->seconds );
    command->add_flag( "--for-program", line->convert.forProgram, "Speak to a program on standard input and output" )
        ->group( "" );
    command->footer(
        "Tells how far it is on standard error. The status is 0 when the scene was written, 1 when it could "
        "not be, with the\nreason on standard error, and 130 after Ctrl+C. A file that was there stays until "
        "the new one is whole." );
    command->callback(
        [line, &run]
        {
            line->convert.limits.memory = line->mebibytes ? *line->mebibytes << 20 : memoryOfAConversion( 1 );
            line->convert.limits.time = std::chrono::seconds( line->seconds );
            run = [line] { return runConvertCommand( line->convert ); };
        } );
}

} // namespace VX::Backend::Lines
