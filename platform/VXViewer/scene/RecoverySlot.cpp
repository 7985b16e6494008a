#include <VXViewer/scene/RecoverySlot.h>

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>

#include <json/writer.h>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX
{

class RecoverySlot::Lock
{
public:
    enum class Wait
    {
        No,
        Yes
    };

    /// Null when the file cannot be opened or, without waiting, when somebody else holds it.
    static std::shared_ptr<Lock> take( const std::filesystem::path& file, Wait wait )
    {
        const int fd = ::open( file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600 );
        if ( fd < 0 )
            return {};
        auto lock = std::make_shared<Lock>( fd );
        return ::flock( fd, LOCK_EX | ( wait == Wait::Yes ? 0 : LOCK_NB ) ) == 0 ? lock : nullptr;
    }

    explicit Lock( int fd )
        : fd_( fd )
    {
    }
    ~Lock() { ::close( fd_ ); }
    Lock( const Lock& ) = delete;
    Lock& operator=( const Lock& ) = delete;

private:
    int fd_;
};

namespace
{

constexpr const char* cLockName = "lock";
constexpr AtomicWriteOptions cPrivate{ .mode = 0600, .flush = true };

bool makePrivateFolder( const std::filesystem::path& folder )
{
    std::error_code ec;
    std::filesystem::create_directories( folder.parent_path(), ec );
    return ::mkdir( folder.c_str(), 0700 ) == 0 || errno == EEXIST;
}

std::vector<std::filesystem::path> slotsIn( const std::filesystem::path& folder )
{
    std::vector<std::filesystem::path> out;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( folder, ec ) )
        if ( entry.is_directory( ec ) && !entry.is_symlink( ec ) )
            out.push_back( entry.path() );
    return out;
}

uint64_t sizeOf( const std::filesystem::path& file )
{
    std::error_code ec;
    const auto size = std::filesystem::file_size( file, ec );
    return ec ? 0 : size;
}

std::string failure( const std::filesystem::path& folder )
{
    return "Unsaved work cannot be kept in \"" + utf8string( folder ) +
           "\": " + std::generic_category().message( errno );
}

} // namespace

RecoverySlot::RecoverySlot( std::filesystem::path folder, std::shared_ptr<Lock> lock )
    : folder_( std::move( folder ) )
    , lock_( std::move( lock ) )
{
}

tl::expected<RecoverySlot, std::string> RecoverySlot::create( const std::filesystem::path& folder )
{
    if ( !makePrivateFolder( folder ) )
        return tl::unexpected( failure( folder ) );
    // Nobody else may look between the making of the slot and its lock, and take it for an abandoned one.
    const auto all = Lock::take( folder / cLockName, Lock::Wait::Yes );
    auto name = ( folder / "work-XXXXXX" ).string();
    if ( !all || !::mkdtemp( name.data() ) )
        return tl::unexpected( failure( folder ) );
    auto lock = Lock::take( std::filesystem::path( name ) / cLockName, Lock::Wait::No );
    if ( !lock )
        return tl::unexpected( failure( name ) );
    return RecoverySlot( name, std::move( lock ) );
}

std::vector<RecoverySlot> RecoverySlot::takeAbandoned( const std::filesystem::path& folder, uint64_t mostBytes )
{
    std::vector<RecoverySlot> out;
    std::error_code ec;
    if ( !std::filesystem::is_directory( folder, ec ) )
        return out;
    const auto all = Lock::take( folder / cLockName, Lock::Wait::Yes );
    if ( !all )
        return out;
    for ( const auto& slotFolder : slotsIn( folder ) )
    {
        auto lock = Lock::take( slotFolder / cLockName, Lock::Wait::No );
        if ( !lock )
            continue;
        RecoverySlot slot( slotFolder, std::move( lock ) );
        if ( slot.readInfo_() )
            out.push_back( std::move( slot ) );
        else
            slot.remove();
    }
    std::sort( out.begin(), out.end(),
        []( const RecoverySlot& a, const RecoverySlot& b ) { return a.info_.time > b.info_.time; } );
    uint64_t bytes = 0;
    const auto tooOld = std::find_if( out.begin(), out.end(),
        [&]( const RecoverySlot& slot ) { return ( bytes += sizeOf( slot.scene() ) ) > mostBytes; } );
    for ( auto it = tooOld; it != out.end(); ++it )
        it->remove();
    out.erase( tooOld, out.end() );
    return out;
}

bool RecoverySlot::readInfo_()
{
    struct stat status{};
    if ( ::stat( scene().c_str(), &status ) != 0 || status.st_size == 0 )
        return false;
    info_.time = status.st_mtime;
    // The program may have ended between the two files, and the work is in the first.
    const auto read = deserializeJsonValue( infoFile_() );
    if ( !read || !read->isObject() )
        return true;
    const auto &file = ( *read )["file"], &time = ( *read )["time"];
    if ( file.isString() )
        info_.file = pathFromUtf8( file.asString() );
    if ( time.isInt64() )
        info_.time = time.asInt64();
    return true;
}

tl::expected<void, std::string> RecoverySlot::writeScene( std::span<const std::byte> vxu )
{
    std::error_code ec;
    const auto space = std::filesystem::space( folder_, ec );
    // The last of a disk belongs to what the person does with it.
    if ( !ec && space.available / 2 < vxu.size() )
        return tl::unexpected( std::string( "Unsaved work is not kept: the disk is nearly full" ) );
    return writeFileAtomically( scene(), { &vxu, 1 }, cPrivate );
}

tl::expected<void, std::string> RecoverySlot::writeInfo( const RecoveryInfo& info )
{
    info_ = info;
    Json::Value value;
    value["file"] = utf8string( info.file );
    value["time"] = Json::Int64( info.time );
    return writeFileAtomically( infoFile_(), value.toStyledString(), cPrivate );
}

void RecoverySlot::clear()
{
    std::error_code ec;
    std::filesystem::remove( infoFile_(), ec );
    std::filesystem::remove( scene(), ec );
}

void RecoverySlot::remove()
{
    clear();
    std::error_code ec;
    std::filesystem::remove_all( folder_, ec );
}

} // namespace VX
