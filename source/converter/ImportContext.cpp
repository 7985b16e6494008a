#include <VXOrvanta/converter/ImportContext.h>

#include <VXOrvanta/converter/ConverterService.h>

#include <VXMesh/io/Path.h>
#include <VXMesh/io/Zip.h>

#include <spdlog/spdlog.h>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace VX::ConverterService
{

const std::filesystem::path cOutputDir = "/.service_output_files/";
const std::string cOutputFormat = "vxu";

namespace
{

/// Whether a text can be the name of a folder in another, and of none elsewhere.
bool isFolderName( const std::string& text )
{
    return !text.empty() && text != "." && text != ".." && text.find( '/' ) == std::string::npos &&
           text.find( '\0' ) == std::string::npos;
}

/// A folder that nobody else can look into, even though everybody may write to the one around it. One that stands there
/// already has to be ours: what is copied into it goes to whoever owns it.
std::error_code makePrivateFolder( const std::filesystem::path& dir )
{
    std::error_code ec;
    if ( std::filesystem::create_directories( dir.parent_path(), ec ); ec )
        return ec;
    struct stat info{};
    if ( ::lstat( dir.c_str(), &info ) != 0 )
    {
        spdlog::info( "STEP loader: creating a temporary directory" );
        return ::mkdir( dir.c_str(), S_IRWXU ) == 0 ? std::error_code()
                                                    : std::error_code( errno, std::generic_category() );
    }
    if ( !S_ISDIR( info.st_mode ) )
        return std::make_error_code( std::errc::not_a_directory );
    if ( info.st_uid != ::geteuid() )
        return std::make_error_code( std::errc::operation_not_permitted );
    std::filesystem::permissions( dir, std::filesystem::perms::owner_all, ec );
    return ec;
}

/// Copies a file to where none is, for its owner alone.
std::error_code copyPrivately( const std::filesystem::path& from, const std::filesystem::path& to )
{
    using std::filesystem::perms;
    std::error_code ec;
    std::filesystem::copy_file( from, to, ec );
    if ( !ec )
        std::filesystem::permissions( to, perms::owner_read | perms::owner_write, ec );
    return ec;
}

FolderObserver& folderObserver()
{
    static FolderObserver sObserver;
    return sObserver;
}

} // namespace

WorkingFiles workingFiles( const std::filesystem::path& file )
{
    return { cOutputDir / file.filename().replace_extension( ".input.zip" ),
        cOutputDir / file.filename().replace_extension( "." + cOutputFormat ) };
}

void setFolderObserver( FolderObserver observer )
{
    folderObserver() = std::move( observer );
}

Context Context::fromFilePath( std::filesystem::path path, ProgressCallback progress )
{
    std::error_code ignored;
    std::filesystem::create_directory( cOutputDir, ignored );

    Context context;
    const auto extension = utf8string( path.extension() );
    context.inputFormat = extension.empty() ? extension : extension.substr( 1 );
    context.outputFormat = cOutputFormat;
    auto files = workingFiles( path );
    context.payloadPath = std::move( files.payload );
    context.outputPath = std::move( files.converted );
    context.inputPath = std::move( path );
    context.progress = std::move( progress );
    return context;
}

std::string errnoText( const std::error_code& code )
{
    return "errno " + std::to_string( code.value() );
}

tl::expected<void, std::string> packInput( const Context& context )
{
    // The service chose the id, and all that is in the folder is sent to it.
    if ( !isFolderName( context.requestId ) )
        return tl::unexpected( errnoText( std::make_error_code( std::errc::invalid_argument ) ) );
    const auto dir = context.temporaryDir();
    if ( folderObserver() )
        folderObserver()( context.inputPath, dir );
    if ( const auto ec = makePrivateFolder( dir ) )
        return tl::unexpected( errnoText( ec ) );
    const auto copy = dir / "input";
    spdlog::info( "STEP loader: copying the file to the temporary directory" );
    if ( const auto ec = copyPrivately( context.inputPath, copy ) )
        return tl::unexpected( errnoText( ec ) );

    spdlog::info( "STEP loader: compressing the file" );
    if ( auto packed = compressZip( context.payloadPath, dir ); !packed )
        return packed;

    spdlog::info( "STEP loader: removing the temporary copy" );
    std::error_code ec;
    std::filesystem::remove( copy, ec );
    if ( ec )
        return tl::unexpected( errnoText( ec ) );
    return {};
}

tl::expected<void, std::string> removePayload( const Context& context )
{
    spdlog::info( "STEP loader: removing the temporary payload file" );
    std::error_code ec;
    std::filesystem::remove( context.payloadPath, ec );
    if ( ec )
        return tl::unexpected( errnoText( ec ) );
    return {};
}

tl::expected<void, std::string> checkCanceled( const ProgressCallback& progress, float fraction )
{
    if ( reportProgress( progress, fraction ) )
        return {};
    return tl::unexpected( std::string( cOperationCanceled ) );
}

} // namespace VX::ConverterService
