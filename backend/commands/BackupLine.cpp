#include "backup/Backup.h"
#include "commands/Lines.h"
#include "text/ExitStatus.h"

#include <iostream>

namespace VX::Backend::Lines
{
namespace
{

struct Folders
{
    std::filesystem::path data, backup;
};

int told( const tl::expected<void, std::string>& done, const std::string& success )
{
    return exitStatusOf( done.map( [&] { std::cout << success << "\n"; } ) );
}

} // namespace

void addBackup( CLI::App& app, Run& run )
{
    const auto folders = std::make_shared<Folders>();
    auto* backup = app.add_subcommand( "backup", "Copy what a service keeps, beside it while it runs or without it" );
    backup->add_option( "--data", folders->data, "Folder of the service's data" )->required();
    backup->add_option( "folder", folders->backup, "New folder for the backup" )->required();
    backup->callback(
        [folders, &run]
        {
            run = [folders]
            {
                return told(
                    makeBackup( folders->data, folders->backup ), "The backup is in " + folders->backup.string() );
            };
        } );
    auto* restore = app.add_subcommand( "restore", "Make a folder of data from a backup" );
    restore->add_option( "folder", folders->backup, "Folder of the backup" )->required();
    restore->add_option( "--data", folders->data, "New folder of a service's data" )->required();
    restore->callback(
        [folders, &run]
        {
            run = [folders]
            { return told( restoreBackup( folders->backup, folders->data ), "Restored " + folders->data.string() ); };
        } );
}

} // namespace VX::Backend::Lines
