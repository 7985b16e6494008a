#include <VXMesh/system/FileView.h>

#include <VXMesh/system/Sanitizer.h>

#include <cerrno>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace VX
{
namespace
{

// The system's header may be older than its kernel.
constexpr uint64_t cTruncate = 1 << 14, cControlDevices = 1 << 15;
constexpr uint64_t cReachAbstractSockets = 1 << 0, cSignal = 1 << 1;

struct Attributes
{
    uint64_t files = 0;
    uint64_t network = 0;
    uint64_t others = 0;
};

constexpr uint64_t cReadFile = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr uint64_t cRead = cReadFile | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr uint64_t cChangeFile = LANDLOCK_ACCESS_FS_WRITE_FILE | cTruncate;
constexpr uint64_t cChange = cChangeFile | LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_REMOVE_FILE;
constexpr uint64_t cFirstRights = ( LANDLOCK_ACCESS_FS_MAKE_SYM << 1 ) - 1; // all of the first version

/// The version of what the kernel offers; negative where there is nothing.
long offered()
{
    return ::syscall( SYS_landlock_create_ruleset, nullptr, size_t( 0 ), LANDLOCK_CREATE_RULESET_VERSION );
}

/// All that this kernel can forbid.
Attributes attributesOf( long version )
{
    Attributes out{ cFirstRights, 0, 0 };
    if ( version >= 2 )
        out.files |= LANDLOCK_ACCESS_FS_REFER;
    if ( version >= 3 )
        out.files |= cTruncate;
    if ( version >= 5 )
        out.files |= cControlDevices;
    if ( version >= 6 )
        out.others = cReachAbstractSockets | cSignal;
    return out;
}

class Rules
{
public:
    explicit Rules( const Attributes& all )
        : all_( all )
        , fd_( int( ::syscall( SYS_landlock_create_ruleset, &all, sizeof all, 0 ) ) )
    {
    }
    Rules( const Rules& ) = delete;
    Rules& operator=( const Rules& ) = delete;
    ~Rules()
    {
        if ( fd_ >= 0 )
            ::close( fd_ );
    }

    bool allow( const std::filesystem::path& path, uint64_t rights ) const
    {
        const int fd = ::open( path.c_str(), O_PATH | O_CLOEXEC );
        if ( fd < 0 )
            return errno == ENOENT || errno == EACCES || errno == ENOTDIR;
        struct stat info{};
        const bool folder = ::fstat( fd, &info ) == 0 && S_ISDIR( info.st_mode );
        landlock_path_beneath_attr rule{};
        rule.allowed_access = rights & all_.files & ( folder ? ~uint64_t( 0 ) : cReadFile | cChangeFile );
        rule.parent_fd = fd;
        const bool added = ::syscall( SYS_landlock_add_rule, fd_, LANDLOCK_RULE_PATH_BENEATH, &rule, 0 ) == 0;
        ::close( fd );
        return added;
    }

    bool hold() const { return ::syscall( SYS_landlock_restrict_self, fd_, 0 ) == 0; }

private:
    Attributes all_;
    int fd_;
};

} // namespace

bool canNarrowFiles()
{
    return offered() > 0;
}

bool narrowFiles( const FileView& view )
{
    const long version = offered();
    if ( version <= 0 )
        return true;
    const Rules rules( attributesOf( version ) );
    bool done = true;
    for ( const auto& path : view.readable )
        done = done && rules.allow( path, cRead );
    for ( const auto& path : view.changeable )
        done = done && rules.allow( path, cRead | cChange );
    // Its reports begin with a look at the process's own memory.
    if ( cHasSanitizer )
        done = done && rules.allow( "/proc/self", cRead );
    return done && rules.hold();
}

} // namespace VX
