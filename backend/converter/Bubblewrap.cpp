#include "converter/Bubblewrap.h"

#include <VXMesh/system/ChildProcess.h>

#include <initializer_list>

#include <unistd.h>

namespace VX::Backend
{
namespace
{

using Words = std::vector<std::string>;

void add( Words& to, std::initializer_list<std::string> words )
{
    to.insert( to.end(), words );
}

/// Root becomes another user inside: in a namespace of users it would still be root for all files outside of it.
Words ownNamespaces()
{
    if ( ::geteuid() != 0 )
        return { "--unshare-all" };
    return { "--unshare-ipc", "--unshare-pid", "--unshare-net", "--unshare-uts", "--unshare-cgroup-try", "--cap-drop",
        "ALL", "--cap-add", "CAP_SETUID", "--cap-add", "CAP_SETGID" };
}

} // namespace

std::filesystem::path ownProgram()
{
    std::error_code ec;
    return std::filesystem::read_symlink( "/proc/self/exe", ec );
}

std::vector<std::string> inBubblewrap( const std::filesystem::path& folder, const std::vector<std::string>& program )
{
    Words out = { "bwrap" };
    const auto namespaces = ownNamespaces();
    out.insert( out.end(), namespaces.begin(), namespaces.end() );
    add( out, { "--die-with-parent", "--new-session", "--ro-bind", "/usr", "/usr" } );
    for ( const char* path : { "/lib", "/lib64", "/etc/ld.so.cache", "/etc/alternatives" } )
        add( out, { "--ro-bind-try", path, path } );
    add( out, { "--proc", "/proc", "--dev", "/dev", "--size", "1048576", "--tmpfs", "/tmp" } );
    const auto own = ownProgram().parent_path();
    for ( const auto& dir : { own, own.parent_path() / "lib" } )
        add( out, { "--ro-bind-try", dir.string(), dir.string() } );
    add( out, { "--bind", folder.string(), "/job", "--chdir", "/job", "--remount-ro", "/dev", "--remount-ro", "/" } );
    out.emplace_back( "--" );
    out.insert( out.end(), program.begin(), program.end() );
    return out;
}

bool canUseBubblewrap( bool showsErrors )
{
    std::error_code ec;
    const auto folder = std::filesystem::temp_directory_path( ec );
    auto trial = ChildProcess::start( { inBubblewrap( ec ? "/" : folder, { "/usr/bin/true" } ),
        std::vector<std::string>{ "PATH=/usr/bin:/bin" }, showsErrors } );
    return trial && trial->wait() == 0;
}

} // namespace VX::Backend
