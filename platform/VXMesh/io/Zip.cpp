#include <VXMesh/io/Zip.h>

#include <VXMesh/io/MappedFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/TemporaryFile.h>

#include <libdeflate.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

namespace VX
{
namespace
{

// libdeflate at 5 packs STEP text half again as fast as at 6, into three hundredths more; zlib is slower at every size.
constexpr int cDeflateLevel = 5;
// libdeflate packs a whole buffer at once, so larger files go through libzip's streaming deflate.
constexpr size_t cWholeBufferLimit = size_t( 512 ) << 20;

struct CloseWriter
{
    void operator()( zip_t* archive ) const { zip_discard( archive ); }
};
using ZipHandle = std::unique_ptr<zip_t, CloseWriter>;
using ZipSource = std::unique_ptr<zip_source_t, void ( * )( zip_source_t* )>;

/// A libzip source that hands over bytes which are already deflated.
class DeflatedSource
{
public:
    explicit DeflatedSource( std::filesystem::path file )
        : file_( std::move( file ) )
    {
    }

    static zip_int64_t callback( void* self, void* data, zip_uint64_t size, zip_source_cmd_t command )
    {
        return static_cast<DeflatedSource*>( self )->handle_( data, size, command );
    }

private:
    zip_int64_t handle_( void* data, zip_uint64_t size, zip_source_cmd_t command )
    {
        switch ( command )
        {
        case ZIP_SOURCE_OPEN:
            offset_ = 0;
            return prepare_() ? 0 : -1;
        case ZIP_SOURCE_READ:
            return read_( data, size );
        case ZIP_SOURCE_CLOSE:
            // libzip opens and closes a source more than once; packing again each time would double the work.
            return 0;
        case ZIP_SOURCE_STAT:
            return stat_( static_cast<zip_stat_t*>( data ) );
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data( &error_, data, size );
        case ZIP_SOURCE_FREE:
            delete this;
            return 0;
        case ZIP_SOURCE_SUPPORTS:
            return zip_source_make_command_bitmap( ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1 );
        default:
            zip_error_set( &error_, ZIP_ER_OPNOTSUPP, 0 );
            return -1;
        }
    }

    bool prepare_()
    {
        if ( ready_ )
            return true;
        const auto mapped = MappedFile::open( file_ );
        if ( !mapped )
        {
            zip_error_set( &error_, ZIP_ER_READ, errno );
            return false;
        }
        const auto bytes = mapped->bytes();
        const std::unique_ptr<libdeflate_compressor, void ( * )( libdeflate_compressor* )> compressor(
            libdeflate_alloc_compressor( cDeflateLevel ), libdeflate_free_compressor );
        packed_.resize( libdeflate_deflate_compress_bound( compressor.get(), bytes.size() ) );
        packed_.resize( libdeflate_deflate_compress(
            compressor.get(), bytes.data(), bytes.size(), packed_.data(), packed_.size() ) );
        size_ = bytes.size();
        crc_ = libdeflate_crc32( 0, bytes.data(), bytes.size() );
        ready_ = true;
        return true;
    }

    zip_int64_t read_( void* data, zip_uint64_t size )
    {
        const auto n = std::min<zip_uint64_t>( size, packed_.size() - offset_ );
        std::memcpy( data, packed_.data() + offset_, n );
        offset_ += n;
        return zip_int64_t( n );
    }

    zip_int64_t stat_( zip_stat_t* out )
    {
        if ( !prepare_() )
            return -1;
        zip_stat_init( out );
        out->valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD;
        out->size = size_;
        out->comp_size = packed_.size();
        out->crc = crc_;
        out->comp_method = ZIP_CM_DEFLATE;
        return sizeof( zip_stat_t );
    }

    std::filesystem::path file_;
    std::vector<std::byte> packed_;
    size_t offset_ = 0;
    size_t size_ = 0;
    uint32_t crc_ = 0;
    bool ready_ = false;
    zip_error_t error_{};
};

ZipSource makeSource( zip_t* archive, const std::filesystem::path& file, uintmax_t size, bool streaming )
{
    if ( streaming || size > cWholeBufferLimit )
        return { zip_source_file( archive, file.c_str(), 0, -1 ), zip_source_free };
    auto source = std::make_unique<DeflatedSource>( file );
    ZipSource out( zip_source_function( archive, &DeflatedSource::callback, source.get() ), zip_source_free );
    if ( out )
        static_cast<void>( source.release() );
    return out;
}

std::string zipFailure( const std::filesystem::path& file, zip_t* archive )
{
    return "Cannot compress \"" + utf8string( file ) + "\": " + zip_strerror( archive );
}

tl::expected<void, std::string> addFile(
    zip_t* archive, const std::filesystem::path& file, const std::filesystem::path& folder, const char* password )
{
    std::error_code ec;
    const auto size = std::filesystem::file_size( file, ec );
    if ( ec )
        return tl::unexpected( "Cannot read \"" + utf8string( file ) + "\": " + ec.message() );
    const bool encrypted = password && *password;
    auto source = makeSource( archive, file, size, encrypted );
    if ( !source )
        return tl::unexpected( zipFailure( file, archive ) );
    const auto name = utf8string( file.lexically_relative( folder ) );
    const auto index = zip_file_add( archive, name.c_str(), source.get(), ZIP_FL_ENC_UTF_8 );
    if ( index < 0 )
        return tl::unexpected( zipFailure( file, archive ) );
    static_cast<void>( source.release() );
    // It changes nothing of what is deflated already.
    if ( zip_set_file_compression( archive, zip_uint64_t( index ), ZIP_CM_DEFLATE, cDeflateLevel ) != 0 )
        return tl::unexpected( zipFailure( file, archive ) );
    if ( encrypted && zip_file_set_encryption( archive, zip_uint64_t( index ), ZIP_EM_AES_256, password ) != 0 )
        return tl::unexpected( zipFailure( file, archive ) );
    return {};
}

tl::expected<std::vector<std::filesystem::path>, std::string> filesBelow(
    const std::filesystem::path& folder, const std::vector<std::filesystem::path>& excluded )
{
    const auto isExcluded = [&]( const std::filesystem::path& file )
    {
        return std::any_of( excluded.begin(), excluded.end(),
            [&]( const auto& e ) { return e.lexically_normal() == file.lexically_normal(); } );
    };
    std::error_code ec;
    std::vector<std::filesystem::path> files;
    for ( std::filesystem::recursive_directory_iterator it( folder, ec ), end; !ec && it != end; it.increment( ec ) )
        if ( it->is_regular_file( ec ) && !it->is_symlink( ec ) && !isExcluded( it->path() ) )
            files.push_back( it->path() );
    if ( ec )
        return tl::unexpected( "Cannot read the folder \"" + utf8string( folder ) + "\": " + ec.message() );
    if ( files.empty() )
        return tl::unexpected( "There is nothing to compress in \"" + utf8string( folder ) + "\"" );
    std::sort( files.begin(), files.end() );
    return files;
}

/// What libzip's two callbacks share while an archive is written.
struct WriteProgress
{
    ProgressCallback progress;
    bool canceled = false;

    static void onProgress( zip_t*, double fraction, void* self )
    {
        auto& state = *static_cast<WriteProgress*>( self );
        state.canceled = state.canceled || !reportProgress( state.progress, float( fraction ) );
    }
    static int onCancel( zip_t*, void* self ) { return static_cast<WriteProgress*>( self )->canceled; }
};

tl::expected<void, std::string> writeArchive(
    ZipHandle archive, const std::filesystem::path& zipFile, WriteProgress& state )
{
    zip_register_progress_callback_with_state( archive.get(), 0.01, &WriteProgress::onProgress, nullptr, &state );
    zip_register_cancel_callback_with_state( archive.get(), &WriteProgress::onCancel, nullptr, &state );
    const bool written = zip_close( archive.get() ) == 0;
    if ( written )
    {
        static_cast<void>( archive.release() );
        return {};
    }
    if ( state.canceled )
        return tl::unexpected( std::string( cOperationCanceled ) );
    return tl::unexpected( "Cannot write \"" + utf8string( zipFile ) + "\": " + zip_strerror( archive.get() ) );
}

std::string reasonOf( int code )
{
    zip_error_t error;
    zip_error_init_with_code( &error, code );
    std::string text = zip_error_strerror( &error );
    zip_error_fini( &error );
    return text;
}

tl::expected<zip_uint64_t, std::string> singleFileIndex( zip_t* archive, const UnzipLimits& limits )
{
    const auto count = zip_uint64_t( std::max<zip_int64_t>( zip_get_num_entries( archive, 0 ), 0 ) );
    if ( count > limits.maxEntries )
        return tl::unexpected( std::string( "The archive holds too many entries" ) );
    std::vector<zip_uint64_t> files;
    for ( zip_uint64_t i = 0; i < count; ++i )
        if ( const char* name = zip_get_name( archive, i, ZIP_FL_ENC_RAW );
            name && *name && name[std::strlen( name ) - 1] != '/' )
            files.push_back( i );
    if ( files.size() != 1 )
        return tl::unexpected(
            "The archive must hold exactly one file, but it holds " + std::to_string( files.size() ) );
    return files.front();
}

tl::expected<void, std::string> copyEntry( zip_file_t* entry, const std::filesystem::path& target, uint64_t maxSize )
{
    std::ofstream out( target, std::ios::binary | std::ios::trunc );
    std::vector<char> buffer( size_t( 256 ) << 10 );
    uint64_t total = 0;
    for ( ;; )
    {
        const auto n = zip_fread( entry, buffer.data(), buffer.size() );
        if ( n < 0 )
            return tl::unexpected( std::string( "The archive is damaged: " ) + zip_file_strerror( entry ) );
        if ( n == 0 )
            break;
        total += uint64_t( n );
        if ( total > maxSize )
            return tl::unexpected( "The archive unpacks to more than " + std::to_string( maxSize >> 20 ) + " MB" );
        out.write( buffer.data(), n );
    }
    out.close();
    if ( !out )
        return tl::unexpected( "Cannot write \"" + utf8string( target ) + "\"" );
    return {};
}

} // namespace

tl::expected<void, std::string> compressZip( const std::filesystem::path& zipFile,
    const std::filesystem::path& sourceFolder, const std::vector<std::filesystem::path>& excludeFiles,
    const char* password, ProgressCallback progress )
{
    auto files = filesBelow( sourceFolder, excludeFiles );
    if ( !files )
        return tl::unexpected( files.error() );
    // libzip gives what it writes the mode of the file that it replaces.
    auto temporary = TemporaryFile::createFor( zipFile );
    if ( !temporary )
        return tl::unexpected( "Cannot write \"" + utf8string( zipFile ) + "\": " + temporary.error().message() );
    int code = 0;
    ZipHandle archive( zip_open( temporary->path().c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code ) );
    if ( !archive )
        return tl::unexpected( "Cannot open \"" + utf8string( zipFile ) + "\": " + reasonOf( code ) );
    for ( const auto& file : *files )
        if ( auto added = addFile( archive.get(), file, sourceFolder, password ); !added )
            return added;
    WriteProgress state{ std::move( progress ) };
    if ( auto written = writeArchive( std::move( archive ), zipFile, state ); !written )
        return written;
    if ( const auto error = temporary->moveTo( zipFile ) )
        return tl::unexpected( "Cannot write \"" + utf8string( zipFile ) + "\": " + error.message() );
    return {};
}

tl::expected<void, std::string> extractSingleFile(
    const std::filesystem::path& zipFile, const std::filesystem::path& target, const UnzipLimits& limits )
{
    int code = 0;
    const ZipHandle archive( zip_open( zipFile.c_str(), ZIP_RDONLY, &code ) );
    if ( !archive )
        return tl::unexpected( "The archive cannot be opened: " + reasonOf( code ) );
    const auto index = singleFileIndex( archive.get(), limits );
    if ( !index )
        return tl::unexpected( index.error() );
    const std::unique_ptr<zip_file_t, int ( * )( zip_file_t* )> entry(
        zip_fopen_index( archive.get(), *index, 0 ), zip_fclose );
    if ( !entry )
        return tl::unexpected( std::string( "The archive is damaged: " ) + zip_strerror( archive.get() ) );
    auto copied = copyEntry( entry.get(), target, limits.maxEntrySize );
    if ( !copied )
    {
        std::error_code ec;
        std::filesystem::remove( target, ec );
    }
    return copied;
}

} // namespace VX
