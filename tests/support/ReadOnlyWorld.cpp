#include "support/ReadOnlyWorld.h"

#include <fcntl.h>
#include <linux/mount.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VX::Testing
{
namespace
{

bool enterOwnMounts()
{
    if ( ::unshare( CLONE_NEWNS ) != 0 && ::unshare( CLONE_NEWUSER | CLONE_NEWNS ) != 0 )
        return false;
    return ::mount( nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr ) == 0;
}

} // namespace

bool makeWorldReadOnly( const std::vector<std::filesystem::path>& writable )
{
    if ( !enterOwnMounts() )
        return false;
    mount_attr readOnly{};
    readOnly.attr_set = MOUNT_ATTR_RDONLY;
    if ( ::syscall( SYS_mount_setattr, AT_FDCWD, "/", AT_RECURSIVE, &readOnly, sizeof readOnly ) != 0 )
        return false;
    for ( const auto& folder : writable )
        if ( ::mount( "tmpfs", folder.c_str(), "tmpfs", 0, "mode=1777,size=256m" ) != 0 )
            return false;
    return true;
}

} // namespace VX::Testing
