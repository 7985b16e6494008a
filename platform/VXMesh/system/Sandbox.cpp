#include <VXMesh/system/Sandbox.h>

#include <VXMesh/system/Sanitizer.h>

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <span>

namespace VX
{
namespace
{

// What memory, time and the reading of files need. Networks, other processes, mounts, links and keys are not here.
constexpr int cAllowed[] = {
    SCMP_SYS( read ),
    SCMP_SYS( write ),
    SCMP_SYS( readv ),
    SCMP_SYS( writev ),
    SCMP_SYS( pread64 ),
    SCMP_SYS( close ),
    SCMP_SYS( lseek ),
    SCMP_SYS( fstat ),
    SCMP_SYS( stat ),
    SCMP_SYS( lstat ),
    SCMP_SYS( newfstatat ),
    SCMP_SYS( statx ),
    SCMP_SYS( access ),
    SCMP_SYS( faccessat ),
    SCMP_SYS( faccessat2 ),
    SCMP_SYS( fsync ),
    SCMP_SYS( fdatasync ),
    SCMP_SYS( getdents64 ),
    SCMP_SYS( readlink ),
    SCMP_SYS( readlinkat ),
    SCMP_SYS( getcwd ),
    SCMP_SYS( poll ),
    SCMP_SYS( dup ),
    SCMP_SYS( umask ),
    SCMP_SYS( pipe2 ),
    SCMP_SYS( mmap ),
    SCMP_SYS( munmap ),
    SCMP_SYS( mprotect ),
    SCMP_SYS( mremap ),
    SCMP_SYS( madvise ),
    SCMP_SYS( brk ),
    SCMP_SYS( mincore ),
    SCMP_SYS( get_mempolicy ),
    SCMP_SYS( membarrier ),
    SCMP_SYS( futex ),
    SCMP_SYS( set_robust_list ),
    SCMP_SYS( rseq ),
    SCMP_SYS( set_tid_address ),
    SCMP_SYS( gettid ),
    SCMP_SYS( getpid ),
    SCMP_SYS( getppid ),
    SCMP_SYS( exit ),
    SCMP_SYS( exit_group ),
    SCMP_SYS( sched_yield ),
    SCMP_SYS( sched_getaffinity ),
    SCMP_SYS( sched_getparam ),
    SCMP_SYS( sched_getscheduler ),
    SCMP_SYS( clock_gettime ),
    SCMP_SYS( clock_getres ),
    SCMP_SYS( clock_nanosleep ),
    SCMP_SYS( nanosleep ),
    SCMP_SYS( gettimeofday ),
    SCMP_SYS( times ),
    SCMP_SYS( getrusage ),
    SCMP_SYS( getrlimit ),
    SCMP_SYS( sysinfo ),
    SCMP_SYS( uname ),
    SCMP_SYS( getuid ),
    SCMP_SYS( geteuid ),
    SCMP_SYS( getgid ),
    SCMP_SYS( getegid ),
    SCMP_SYS( getrandom ),
    SCMP_SYS( getcpu ),
    SCMP_SYS( rt_sigaction ),
    SCMP_SYS( rt_sigprocmask ),
    SCMP_SYS( rt_sigreturn ),
    SCMP_SYS( sigaltstack ),
    SCMP_SYS( restart_syscall ),
};

// Both calls are doors to much else: what is typed on a terminal, who gets which signal, attributes and locks of files.
constexpr int cDeviceCommands[] = { TCGETS, FIONREAD, FIOCLEX };
constexpr int cDescriptorCommands[] = { F_GETFD, F_SETFD, F_GETFL, F_DUPFD, F_DUPFD_CLOEXEC };

constexpr uint64_t cNamespaces =
    CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

constexpr int cAllowedToWrite[] = {
    SCMP_SYS( open ),
    SCMP_SYS( openat ),
    SCMP_SYS( pwrite64 ),
    SCMP_SYS( ftruncate ),
    SCMP_SYS( rename ),
    SCMP_SYS( unlink ),
};

bool limit( __rlimit_resource resource, uint64_t value )
{
    const rlimit both{ value, value };
    return setrlimit( resource, &both ) == 0;
}

bool limitTo( __rlimit_resource resource, uint64_t value )
{
    return value == 0 || limit( resource, value );
}

/// The first limit ends a process by SIGXCPU, so that its end can be told from one that somebody else made by SIGKILL;
/// the second holds for what does not want to hear of it.
bool limitTime( uint64_t seconds )
{
    constexpr uint64_t cMore = 5;
    const rlimit both{ seconds, seconds + cMore };
    return seconds == 0 || setrlimit( RLIMIT_CPU, &both ) == 0;
}

bool allow( scmp_filter_ctx filter, std::span<const int> calls )
{
    return std::all_of( calls.begin(), calls.end(),
        [&]( int call ) { return seccomp_rule_add( filter, SCMP_ACT_ALLOW, call, 0 ) == 0; } );
}

bool allowWith( scmp_filter_ctx filter, int call, std::initializer_list<scmp_arg_cmp> arguments )
{
    return seccomp_rule_add_array( filter, SCMP_ACT_ALLOW, call, unsigned( arguments.size() ), arguments.begin() ) == 0;
}

bool allowCommands( scmp_filter_ctx filter, int call, std::span<const int> commands )
{
    return std::all_of( commands.begin(), commands.end(),
        [&]( int command ) { return allowWith( filter, call, { { 1, SCMP_CMP_EQ, scmp_datum_t( command ), 0 } } ); } );
}

/// Calls whose arguments decide what they can do to others.
bool allowForItself( scmp_filter_ctx filter )
{
    const auto self = scmp_datum_t( ::getpid() );
    return allowCommands( filter, SCMP_SYS( ioctl ), cDeviceCommands ) &&
           allowCommands( filter, SCMP_SYS( fcntl ), cDescriptorCommands ) &&
           allowWith(
               filter, SCMP_SYS( fcntl ), { { 1, SCMP_CMP_EQ, F_SETFL, 0 }, { 2, SCMP_CMP_MASKED_EQ, O_ASYNC, 0 } } ) &&
           allowWith( filter, SCMP_SYS( sched_setaffinity ), { { 0, SCMP_CMP_EQ, 0, 0 } } ) &&
           // A failed assertion signals itself, and nobody else.
           allowWith( filter, SCMP_SYS( tgkill ), { { 0, SCMP_CMP_EQ, self, 0 } } ) &&
           // A copy of this process asks to end with it.
           allowWith( filter, SCMP_SYS( prctl ), { { 0, SCMP_CMP_EQ, PR_SET_PDEATHSIG, 0 } } );
}

bool allowReading( scmp_filter_ctx filter )
{
    constexpr uint64_t cChanging = O_ACCMODE | O_CREAT | O_TRUNC;
    return allowWith( filter, SCMP_SYS( open ), { { 1, SCMP_CMP_MASKED_EQ, cChanging, O_RDONLY } } ) &&
           allowWith( filter, SCMP_SYS( openat ), { { 2, SCMP_CMP_MASKED_EQ, cChanging, O_RDONLY } } ) &&
           allowWith(
               filter, SCMP_SYS( clone ), { { 0, SCMP_CMP_MASKED_EQ, CLONE_THREAD | cNamespaces, CLONE_THREAD } } );
}

bool allowWriting( scmp_filter_ctx filter )
{
    return allow( filter, cAllowedToWrite ) &&
           allowWith( filter, SCMP_SYS( clone ), { { 0, SCMP_CMP_MASKED_EQ, cNamespaces, 0 } } );
}

/// The threads of a process of this user; 0 for one of others, or one that has ended.
uint64_t tasksOf( const std::filesystem::path& process, uint64_t user )
{
    std::ifstream status( process / "status" );
    for ( std::string word; status >> word; )
    {
        uint64_t number = 0;
        if ( word == "Uid:" && status >> number && number != user )
            return 0;
        if ( word == "Threads:" && status >> number )
            return number;
    }
    return 0;
}

bool filterSystemCalls( SandboxFiles files )
{
    const std::unique_ptr<void, void ( * )( void* )> filter( seccomp_init( SCMP_ACT_ERRNO( EPERM ) ), seccomp_release );
    if ( !filter || !allow( filter.get(), cAllowed ) || !allowForItself( filter.get() ) )
        return false;
    if ( files == SandboxFiles::Write ? !allowWriting( filter.get() ) : !allowReading( filter.get() ) )
        return false;
    // glibc falls back from calls that "do not exist", clone3 above all, but takes a refusal for an error.
    if ( seccomp_rule_add( filter.get(), SCMP_ACT_ERRNO( ENOSYS ), SCMP_SYS( clone3 ), 0 ) != 0 )
        return false;
    return seccomp_load( filter.get() ) == 0;
}

} // namespace

uint64_t memoryForReading( uint64_t file, uint64_t machine )
{
    constexpr uint64_t cLeast = uint64_t( 1 ) << 30, cTimes = 50;
    const uint64_t wanted = file > UINT64_MAX / cTimes ? UINT64_MAX : std::max( cLeast, file * cTimes );
    return std::min( wanted, machine / 4 );
}

uint64_t tasksOfThisUser()
{
    uint64_t out = 0;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( "/proc", ec ) )
        if ( const auto name = entry.path().filename().string(); name.find_first_not_of( "0123456789" ) == name.npos )
            out += tasksOf( entry.path(), ::getuid() );
    return out;
}

std::string enterSandbox( const SandboxLimits& limits, SandboxFiles files, const FileView& view )
{
    // A write beyond the limit fails then, and can be told of, where it would otherwise end the process.
    ::signal( SIGXFSZ, SIG_IGN );
    const bool memoryLimited = cHasSanitizer || limitTo( RLIMIT_AS, limits.memory );
    if ( !memoryLimited || !limitTo( RLIMIT_FSIZE, limits.outputSize ) || !limitTime( limits.cpuSeconds ) ||
         !limitTo( RLIMIT_NPROC, limits.tasks ) || !limit( RLIMIT_CORE, 0 ) || !limit( RLIMIT_NOFILE, 64 ) )
        return "The limits cannot be set";
    if ( prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 )
        return "Privileges cannot be given up";
    if ( prctl( PR_SET_DUMPABLE, 0, 0, 0, 0 ) != 0 )
        return "The memory cannot be closed to others";
    if ( !narrowFiles( view ) )
        return "Other files cannot be hidden";
    if ( !filterSystemCalls( files ) )
        return "System calls cannot be filtered";
    return {};
}

} // namespace VX
