#include <VXMesh/formats/voxels/saving/PlainValues.h>
#include <VXMesh/formats/voxels/saving/VoxelFile.h>
#include <VXMesh/formats/voxels/saving/Writers.h>
#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <fmt/format.h>

#include <array>

namespace VX
{
namespace
{

std::string vectorText( const Vector3d& v )
{
    return fmt::format( "({},{},{})", v.x, v.y, v.z );
}

std::string nrrdHeader( const Volume& volume )
{
    constexpr std::array cTypes{ "int8", "uint8", "int16", "uint16", "int32", "uint32", "float" };
    const auto& grid = volume.grid();
    const Matrix3d steps = grid.worldXf().A.transposed();
    auto out = fmt::format( "NRRD0005\ntype: {}\ndimension: 3\nspace: left-posterior-superior\nsizes: {} {} {}\n"
                            "space directions: {} {} {}\nkinds: domain domain domain\nendian: little\nencoding: raw\n"
                            "space origin: {}\n",
        cTypes[size_t( volume.type() )], grid.size[0], grid.size[1], grid.size[2], vectorText( steps.x ),
        vectorText( steps.y ), vectorText( steps.z ), vectorText( grid.origin ) );
    auto unit = printable( volume.meaning().unit, 50 );
    std::erase( unit, '"' );
    if ( !unit.empty() )
        out += fmt::format( "sample units: \"{}\"\n", unit );
    return out + "\n";
}

std::string metaHeader( const Volume& volume, const std::string& dataFile )
{
    constexpr std::array cTypes{
        "MET_CHAR", "MET_UCHAR", "MET_SHORT", "MET_USHORT", "MET_INT", "MET_UINT", "MET_FLOAT" };
    const auto& grid = volume.grid();
    const Matrix3d axes = grid.direction.transposed();
    return fmt::format( "ObjectType = Image\nNDims = 3\nBinaryData = True\nBinaryDataByteOrderMSB = False\n"
                        "CompressedData = False\nTransformMatrix = {} {} {} {} {} {} {} {} {}\nOffset = {} {} {}\n"
                        "ElementSpacing = {} {} {}\nDimSize = {} {} {}\nElementType = {}\nElementDataFile = {}\n",
        axes.x.x, axes.x.y, axes.x.z, axes.y.x, axes.y.y, axes.y.z, axes.z.x, axes.z.y, axes.z.z, grid.origin.x,
        grid.origin.y, grid.origin.z, grid.spacing.x, grid.spacing.y, grid.spacing.z, grid.size[0], grid.size[1],
        grid.size[2], cTypes[size_t( volume.type() )], dataFile );
}

constexpr float cValues = 0.3f; // of the whole time, where values have to be made of stored numbers

tl::expected<void, std::string> saveWith( const std::filesystem::path& file, const Volume& volume,
    const std::string& header, const ProgressCallback& progress )
{
    auto out = VoxelFile::create( file, false );
    if ( !out )
        return tl::unexpected( out.error() );
    if ( auto done = out->write( header ); !done )
        return done;
    if ( auto done = out->writeVoxels( volume, progress ); !done )
        return done;
    return out->finish();
}

} // namespace

tl::expected<void, std::string> saveNrrd(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress )
{
    const auto plain = withPlainValues( volume, subprogress( progress, 0, cValues ) );
    if ( !plain )
        return tl::unexpected( plain.error() );
    return saveWith( file, *plain, nrrdHeader( *plain ), subprogress( progress, cValues, 1 ) );
}

tl::expected<void, std::string> saveRaw(
    const std::filesystem::path& file, const Volume& volume, const ProgressCallback& progress )
{
    const auto plain = withPlainValues( volume, subprogress( progress, 0, cValues ) );
    if ( !plain )
        return tl::unexpected( plain.error() );
    if ( auto done = saveWith( file, *plain, {}, subprogress( progress, cValues, 1 ) ); !done )
        return done;
    auto description = file;
    description += ".mhd";
    return writeFileAtomically( description, metaHeader( *plain, utf8string( file.filename() ) ) );
}

} // namespace VX
