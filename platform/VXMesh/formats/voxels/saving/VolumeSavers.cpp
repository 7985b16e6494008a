#include <VXMesh/formats/voxels/saving/VolumeSavers.h>

#include <VXMesh/formats/voxels/GridOfAxes.h>
#include <VXMesh/formats/voxels/saving/Writers.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{

const std::vector<VolumeSaver>& volumeSavers()
{
    static const std::vector<VolumeSaver> sSavers{
        { "NIfTI, packed", ".nii.gz", &saveNifti },
        { "NIfTI", ".nii", &saveNifti },
        { "NRRD", ".nrrd", &saveNrrd },
        { "TIFF stack", ".tif", &saveTiff },
        { "Raw voxels", ".raw", &saveRaw },
    };
    return sSavers;
}

tl::expected<void, std::string> saveVolume(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress )
{
    const auto name = toLower( utf8string( file.filename() ) );
    const auto& savers = volumeSavers();
    const auto it = std::find_if(
        savers.begin(), savers.end(), [&]( const VolumeSaver& saver ) { return name.ends_with( saver.extension ); } );
    if ( it == savers.end() )
        return tl::unexpected( "Voxels cannot be saved as files of type \"" + utf8string( file.extension() ) + "\"" );
    if ( !volume.isConsistent() )
        return tl::unexpected( std::string( "There are no voxels to save" ) );
    return it->save( file, volume, progress );
}

tl::expected<Volume, std::string> volumeInScene( const ObjectVolume& object )
{
    if ( !object.volume() )
        return tl::unexpected( std::string( "There are no voxels to save" ) );
    const Volume& volume = *object.volume();
    const AffineXf3d place = object.worldXf() * volume.grid().worldXf();
    auto grid = gridOfAxes( volume.size(), place.A, place.b );
    if ( !grid || !grid->warning.empty() )
        return tl::unexpected( std::string( "Its placement bends the right angles between its axes" ) );
    return volume.with( grid->grid );
}

} // namespace VX
