#include <VXMesh/formats/VolumeFormats.h>

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/formats/ReaderProcess.h>
#include <VXMesh/formats/voxels/MetaImage.h>
#include <VXMesh/formats/voxels/Nifti.h>
#include <VXMesh/formats/voxels/Nrrd.h>
#include <VXMesh/formats/voxels/RawVolume.h>
#include <VXMesh/formats/voxels/TiffNames.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/scene/ObjectVolume.h>
#include <VXMesh/scene/Origin.h>

namespace VX
{
namespace
{

using ReadResult = tl::expected<ReadVolume, std::string>;

tl::expected<LoadedObjects, std::string> objectsOf( const std::filesystem::path& file, const ReadResult& read )
{
    if ( read )
        return volumeOfFile( file, read->volume, read->warnings );
    return tl::unexpected( read.error() == cOperationCanceled ? read.error() : cannotRead( file, read.error() ) );
}

template <auto read>
tl::expected<LoadedObjects, std::string> load( const std::filesystem::path& file, const ProgressCallback& progress )
{
    return objectsOf( file, read( file, progress ) );
}

LoadResult loadTiff( const std::filesystem::path& file, const ProgressCallback& progress )
{
    return readInProcess( readerProgram(), file, progress );
}

ReadResult readNamedRaw( const std::filesystem::path& file, const ProgressCallback& progress )
{
    std::error_code ec;
    const auto size = std::filesystem::file_size( file, ec );
    const auto guesses = guessRaw( file, ec ? 0 : size );
    if ( !guesses.isNamed )
        return tl::unexpected( std::string( "its name does not tell the size and the type of its voxels, as "
                                            "\"head_256x256x128_uint16.raw\" does" ) );
    return readRaw( file, guesses.candidates.front(), progress );
}

} // namespace

std::vector<FileFormat> volumeFormats()
{
    return {
        { "NIfTI", { ".nii", ".nii.gz", ".hdr", ".img", ".hdr.gz", ".img.gz" }, &load<readNifti> },
        { "NRRD", { ".nrrd", ".nhdr" }, &load<readNrrd> },
        { "MetaImage", { ".mha", ".mhd" }, &load<readMetaImage> },
        { "TIFF stack", { ".tif", ".tiff", ".btf", ".tf8" }, &loadTiff },
        { "Raw voxels", { ".raw" }, &load<readNamedRaw> },
    };
}

LoadResult loadTiffFolder( const std::filesystem::path& folder, const ProgressCallback& progress )
{
    std::error_code ec;
    if ( !std::filesystem::is_directory( folder, ec ) )
        return tl::unexpected( cannotRead( folder, "it is not a folder" ) );
    if ( numberedTiffs( folder ).empty() )
        return tl::unexpected( cannotRead( folder, "there is no TIFF file in it" ) );
    return loadTiff( folder, progress );
}

LoadResult loadRaw( const std::filesystem::path& file, const RawVolume& raw, const ProgressCallback& progress )
{
    return objectsOf( file, readRaw( file, raw, progress ) );
}

LoadedObjects volumeOfFile( const std::filesystem::path& file, const Volume& volume, std::string warnings )
{
    const Vector3d origin = originFor( volume.box() );
    VolumeGrid grid = volume.grid();
    grid.origin = grid.origin - origin;
    auto object = makeObjectVolume( volume.with( grid ) );
    const auto stem = file.stem();
    object->setName( utf8string( toLower( utf8string( file.extension() ) ) == ".gz" ? stem.stem() : stem ) );
    object->setXf( translation( origin ) );
    return { { std::move( object ) }, std::move( warnings ) };
}

} // namespace VX
