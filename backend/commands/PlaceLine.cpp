#include "commands/Lines.h"

namespace VX::Backend::Lines
{

void addPlace( CLI::App& command, DataPlace& place )
{
    command.add_option( "--data", place.data, "Folder of the service's data" );
    command
        .add_option( "--database", place.database,
            "In its place the PostgreSQL that services share, as it is given to \"serve\"" )
        ->envname( "ORVANTA_DATABASE" );
    command.parse_complete_callback(
        [&place]
        {
            if ( place.data.empty() && place.database.empty() )
                throw CLI::RequiredError( "--data or --database" );
        } );
}

} // namespace VX::Backend::Lines
