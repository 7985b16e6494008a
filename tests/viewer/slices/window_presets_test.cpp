#include <VXMesh/volume/VolumeEdit.h>
#include <VXViewer/slices/WindowPresets.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

Volume twoValues( const std::string& unit )
{
    const VolumeGrid grid{ .size = { 4, 4, 4 } };
    VolumeEdit edit(
        Volume::filled( VoxelType::Int16, grid, -1000 ).with( VoxelMeaning{ .unit = unit, .window = { 7, 9 } } ) );
    edit.setStored( { 1, 2, 3 }, 3000 );
    return std::move( edit ).finish();
}

using Names = std::vector<std::string>;

} // namespace

TEST( WindowPresetsTest, OfAnyVolume )
{
    const auto presets = windowPresets( twoValues( "" ) );
    EXPECT_EQ( presets.names, ( Names{ "As opened", "All values", "By hand" } ) );
    EXPECT_EQ( presets.windows, ( std::vector<VolumeWindow>{ { 7, 9 }, { 1000, 4000 } } ) );
    EXPECT_EQ( presets.find( { 1000, 4000 } ), 1 );
    EXPECT_EQ( presets.find( { 1000, 4001 } ), 2 );
}

TEST( WindowPresetsTest, TissuesHaveThoseOfRadiology )
{
    const auto presets = windowPresets( twoValues( "HU" ) );
    EXPECT_EQ(
        presets.names, ( Names{ "As opened", "All values", "Bone", "Soft tissue", "Lung", "Brain", "By hand" } ) );
    EXPECT_EQ( presets.windows[3], ( VolumeWindow{ 40, 400 } ) );
}

TEST( WindowPresetsTest, OneValueAloneHasNoneOfAll )
{
    const auto presets = windowPresets( Volume::filled( VoxelType::UInt8, { .size = { 2, 2, 2 } }, 5 ) );
    EXPECT_EQ( presets.names, ( Names{ "As opened", "By hand" } ) );
    EXPECT_GT( presets.windows[0].width, 0 );
}
