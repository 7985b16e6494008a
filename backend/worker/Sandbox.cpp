#include "worker/Sandbox.h"

#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace VX::Backend
{
namespace
{

// What memory, threads, time and files in one folder need. Networks, other processes, mounts, links and keys are not
// here.
constexpr int cAllowed[] = {
    SCMP_SYS( read ),
    SCMP_SYS( write ),
    SCMP_SYS( readv ),
    SCMP_SYS( writev ),
    SCMP_SYS( pread64 ),
    SCMP_SYS( pwrite64 ),
    SCMP_SYS( open ),
    SCMP_SYS( openat ),
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
    SCMP_SYS( ftruncate ),
    SCMP_SYS( rename ),
    SCMP_SYS( unlink ),
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
    SCMP_SYS( clone ),
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

bool limit( __rlimit_resource resource, uint64_t value )
{
    const rlimit both{ value, value };
    return setrlimit( resource, &both ) == 0;
}

bool filterSystemCalls()
{
    // glibc falls back from calls that "do not exist", clone3 above all, but takes a refusal for an error.
    const std::unique_ptr<void, void ( * )( void* )> filter( seccomp_init( SCMP_ACT_ERRNO( EPERM ) ), seccomp_release );
    if ( !filter )
        return false;
    for ( const int call : cAllowed )
        if ( seccomp_rule_add( filter.get(), SCMP_ACT_ALLOW, call, 0 ) != 0 )
            return false;
    // A failed assertion signals itself, and nobody else.
    if ( seccomp_rule_add( filter.get(), SCMP_ACT_ALLOW, SCMP_SYS( tgkill ), 1,
             SCMP_A0( SCMP_CMP_EQ, scmp_datum_t( ::getpid() ) ) ) != 0 )
        return false;
    // A copy of this process asks to end with it.
    if ( seccomp_rule_add(
             filter.get(), SCMP_ACT_ALLOW, SCMP_SYS( prctl ), 1, SCMP_A0( SCMP_CMP_EQ, PR_SET_PDEATHSIG ) ) != 0 )
        return false;
    if ( seccomp_rule_add( filter.get(), SCMP_ACT_ERRNO( ENOSYS ), SCMP_SYS( clone3 ), 0 ) != 0 )
        return false;
    return seccomp_load( filter.get() ) == 0;
}

} // namespace

std::string enterSandbox( const SandboxLimits& limits )
{
    const bool memoryLimited = !cLimitsMemory || limit( RLIMIT_AS, limits.memory );
    if ( !memoryLimited || !limit( RLIMIT_FSIZE, limits.outputSize ) || !limit( RLIMIT_CPU, limits.cpuSeconds ) ||
         !limit( RLIMIT_CORE, 0 ) || !limit( RLIMIT_NOFILE, 64 ) )
        return "The limits cannot be set";
    if ( prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 )
        return "Privileges cannot be given up";
    if ( !filterSystemCalls() )
        return "System calls cannot be filtered";
    return {};
}

} // namespace VX::Backend
