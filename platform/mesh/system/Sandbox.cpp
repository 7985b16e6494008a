#include <VXMesh/system/Sandbox.h>

#include <VXMesh/system/Sanitizer.h>

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
    SCMP_SYS( fcntl ),
    SCMP_SYS( fsync ),
    SCMP_SYS( fdatasync ),
    SCMP_SYS( getdents64 ),
    SCMP_SYS( readlink ),
    SCMP_SYS( readlinkat ),
    SCMP_SYS( getcwd ),
    SCMP_SYS( ioctl ),
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
    SCMP_SYS( sched_setaffinity ),
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

constexpr int cAllowedToWrite[] = {
    SCMP_SYS( open ),
    SCMP_SYS( openat ),
    SCMP_SYS( pwrite64 ),
    SCMP_SYS( ftruncate ),
    SCMP_SYS( rename ),
    SCMP_SYS( unlink ),
    SCMP_SYS( clone ),
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

bool allow( scmp_filter_ctx filter, std::span<const int> calls )
{
    return std::all_of( calls.begin(), calls.end(),
        [&]( int call ) { return seccomp_rule_add( filter, SCMP_ACT_ALLOW, call, 0 ) == 0; } );
}

bool allowWith( scmp_filter_ctx filter, int call, const scmp_arg_cmp& argument )
{
    return seccomp_rule_add_array( filter, SCMP_ACT_ALLOW, call, 1, &argument ) == 0;
}

bool allowReading( scmp_filter_ctx filter )
{
    constexpr uint64_t cChanging = O_ACCMODE | O_CREAT | O_TRUNC;
    return allowWith( filter, SCMP_SYS( open ), { 1, SCMP_CMP_MASKED_EQ, cChanging, O_RDONLY } ) &&
           allowWith( filter, SCMP_SYS( openat ), { 2, SCMP_CMP_MASKED_EQ, cChanging, O_RDONLY } ) &&
           allowWith( filter, SCMP_SYS( clone ), { 0, SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD } );
}

bool filterSystemCalls( SandboxFiles files )
{
    const std::unique_ptr<void, void ( * )( void* )> filter( seccomp_init( SCMP_ACT_ERRNO( EPERM ) ), seccomp_release );
    if ( !filter || !allow( filter.get(), cAllowed ) )
        return false;
    if ( files == SandboxFiles::Write ? !allow( filter.get(), cAllowedToWrite ) : !allowReading( filter.get() ) )
        return false;
    // A failed assertion signals itself, and nobody else.
    if ( !allowWith( filter.get(), SCMP_SYS( tgkill ), { 0, SCMP_CMP_EQ, scmp_datum_t( ::getpid() ), 0 } ) )
        return false;
    // A copy of this process asks to end with it.
    if ( !allowWith( filter.get(), SCMP_SYS( prctl ), { 0, SCMP_CMP_EQ, PR_SET_PDEATHSIG, 0 } ) )
        return false;
    // glibc falls back from calls that "do not exist", clone3 above all, but takes a refusal for an error.
    if ( seccomp_rule_add( filter.get(), SCMP_ACT_ERRNO( ENOSYS ), SCMP_SYS( clone3 ), 0 ) != 0 )
        return false;
    return seccomp_load( filter.get() ) == 0;
}

} // namespace

std::string enterSandbox( const SandboxLimits& limits, SandboxFiles files )
{
    const bool memoryLimited = cHasSanitizer || limitTo( RLIMIT_AS, limits.memory );
    if ( !memoryLimited || !limitTo( RLIMIT_FSIZE, limits.outputSize ) || !limitTo( RLIMIT_CPU, limits.cpuSeconds ) ||
         !limit( RLIMIT_CORE, 0 ) || !limit( RLIMIT_NOFILE, 64 ) )
        return "The limits cannot be set";
    if ( prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 )
        return "Privileges cannot be given up";
    if ( !filterSystemCalls( files ) )
        return "System calls cannot be filtered";
    return {};
}

} // namespace VX
