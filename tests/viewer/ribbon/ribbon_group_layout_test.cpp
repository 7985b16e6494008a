#include <VXViewer/ribbon/RibbonGroupLayout.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

using Size = RibbonGroupSize;
using Sizes = std::vector<Size>;

const std::vector<RibbonGroupWidths> cThree( 3, RibbonGroupWidths{ 100, 60, 40, 20 } );

} // namespace

TEST( RibbonGroupLayout, IsFullWhereThereIsRoom )
{
    EXPECT_EQ( fitRibbonGroups( cThree, 300 ), Sizes( 3, Size::Full ) );
    EXPECT_TRUE( fitRibbonGroups( {}, 0 ).empty() );
}

TEST( RibbonGroupLayout, ShrinksFromTheRight )
{
    EXPECT_EQ( fitRibbonGroups( cThree, 299 ), ( Sizes{ Size::Full, Size::Full, Size::Small } ) );
    EXPECT_EQ( fitRibbonGroups( cThree, 220 ), ( Sizes{ Size::Full, Size::Small, Size::Small } ) );
    EXPECT_EQ( fitRibbonGroups( cThree, 160 ), ( Sizes{ Size::Small, Size::Small, Size::Icons } ) );
    EXPECT_EQ( fitRibbonGroups( cThree, 61 ), ( Sizes{ Size::Folded, Size::Folded, Size::Folded } ) );
}

TEST( RibbonGroupLayout, FoldsAllWhereNothingFits )
{
    EXPECT_EQ( fitRibbonGroups( cThree, 0 ), Sizes( 3, Size::Folded ) );
}

TEST( RibbonGroupLayout, NeverTakesASizeThatIsWider )
{
    EXPECT_EQ( fitRibbonGroups( { { 100, 120, 40, 60 } }, 50 ), Sizes{ Size::Icons } );
}
