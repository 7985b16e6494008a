#include <VXViewer/core/Viewer.h>
#include <VXViewer/core/ViewerTitle.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// What a product makes of it.
class Address final : public ViewerTitle
{
public:
    [[nodiscard]] std::string compose() const override { return ViewerTitle::compose() + " (a@b)"; }
};

} // namespace

TEST( ViewerTitle, NamesTheSceneThenTheProgramWithItsVersion )
{
    ViewerTitle title;
    EXPECT_EQ( title.compose(), "" );
    title.setAppName( "Viewer" );
    EXPECT_EQ( title.compose(), "Viewer" );
    title.setVersion( "0.1.0.0" );
    EXPECT_EQ( title.compose(), "Viewer 0.1.0.0" );
    title.setSceneName( "part.vxu" );
    EXPECT_EQ( title.compose(), "part.vxu - Viewer 0.1.0.0" );
    title.setSceneName( "" );
    EXPECT_EQ( title.compose(), "Viewer 0.1.0.0" );
}

TEST( ViewerTitle, LeavesOutWhatIsNotKnownWithItsSeparator )
{
    ViewerTitle title;
    title.setVersion( "1.2" );
    EXPECT_EQ( title.compose(), "1.2" );
    title.setSceneName( "part.vxu" );
    EXPECT_EQ( title.compose(), "part.vxu 1.2" );
}

TEST( ViewerTitle, MarksUnsavedWorkWithAStar )
{
    ViewerTitle title;
    title.setUnsaved( true );
    EXPECT_EQ( title.compose(), "" ) << "nothing is marked where nothing stands";
    title.setAppName( "Viewer" );
    EXPECT_EQ( title.compose(), "*Viewer" );
    title.setSceneName( "part.vxu" );
    EXPECT_EQ( title.compose(), "*part.vxu - Viewer" );
    title.setUnsaved( false );
    EXPECT_EQ( title.compose(), "part.vxu - Viewer" );
}

TEST( ViewerTitle, AnotherOneTakesOverWhatWasKnown )
{
    Viewer viewer;
    viewer.viewerTitle()->setAppName( "Viewer" );
    viewer.viewerTitle()->setVersion( "1.2" );
    viewer.viewerTitle()->setSceneName( "part.vxu" );
    viewer.viewerTitle()->setUnsaved( true );
    viewer.setViewerTitle( std::make_shared<Address>() );
    EXPECT_EQ( viewer.viewerTitle()->compose(), "*part.vxu - Viewer 1.2 (a@b)" );
}

TEST( ViewerTitle, AfterNoneBeginsEmpty )
{
    Viewer viewer;
    viewer.viewerTitle()->setAppName( "Viewer" );
    viewer.setViewerTitle( nullptr );
    EXPECT_EQ( viewer.viewerTitle(), nullptr );
    viewer.setViewerTitle( std::make_shared<ViewerTitle>() );
    EXPECT_EQ( viewer.viewerTitle()->compose(), "" );
}
