#include "support/TestMeshes.h"
#include "support/ui/UiFixture.h"

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/CameraController.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/settings/Config.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui.h>
#include <stb/stb_image.h>

using namespace VX;

namespace
{

class View : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        openCube();
    }
    ObjectMesh& cube() { return dynamic_cast<ObjectMesh&>( *viewer().sceneRoot().children().at( 0 ) ); }
    Vector2f onScreen( const Vector3d& point ) { return viewer().camera().project( point ); }
    /// On the upper face, near a corner.
    Vector3d nearCorner()
    {
        const auto box = cube().treeBox();
        return { box.min.x * 0.1 + box.max.x * 0.9, box.min.y * 0.8 + box.max.y * 0.2, box.max.z };
    }
    void beginTurn( Vector2f at )
    {
        window().moveMouse( at );
        settle();
        window().pressMouse( MouseButton::Left, true );
        window().moveMouse( at + Vector2f{ 70, 10 } );
        window().moveMouse( at + Vector2f{ 150, -20 } );
        settle();
    }
    void endTurn()
    {
        window().pressMouse( MouseButton::Left, false );
        settle();
    }
    static std::array<int, 3> pixel( const Image& image, Vector2f at )
    {
        const size_t i = ( size_t( at.y ) * size_t( image.width ) + size_t( at.x ) ) * size_t( image.channels );
        return { image.pixels.at( i ), image.pixels.at( i + 1 ), image.pixels.at( i + 2 ) };
    }
    static int distance( const std::array<int, 3>& a, const std::array<int, 3>& b )
    {
        return std::max( { std::abs( a[0] - b[0] ), std::abs( a[1] - b[1] ), std::abs( a[2] - b[2] ) } );
    }
};

/// The middle of the box around the opaque pixels of a picture, in parts of its size.
Vector2f middleOf( const Image& image )
{
    Vector2f low{ 1e9f, 1e9f }, high;
    for ( size_t i = 0; i < image.pixels.size() / 4; ++i )
        if ( image.pixels[i * 4 + 3] > 127 )
        {
            const size_t row = i / size_t( image.width ), column = i % size_t( image.width );
            const Vector2f at{ float( column ), float( row ) };
            low = { std::min( low.x, at.x ), std::min( low.y, at.y ) };
            high = { std::max( high.x, at.x ), std::max( high.y, at.y ) };
        }
    return { ( low.x + high.x ) / 2 / float( image.width ), ( low.y + high.y ) / 2 / float( image.height ) };
}

} // namespace

TEST_F( View, TurnsAboutThePointUnderThePointer )
{
    for ( const bool orthographic : { false, true } )
    {
        viewer().camera().setOrthographic( orthographic );
        viewer().camera().zoom( 6, onScreen( nearCorner() ) );
        settle();
        const Vector3d point = nearCorner();
        const auto at = onScreen( point );
        const auto other = onScreen( cube().treeBox().center() );
        beginTurn( at );
        EXPECT_NEAR( onScreen( point ).x, at.x, 1 );
        EXPECT_NEAR( onScreen( point ).y, at.y, 1 );
        EXPECT_GT( ( onScreen( cube().treeBox().center() ) - other ).length(), 50 ) << "the rest turns";
        endTurn();
        viewer().fitScene();
    }
}

TEST_F( View, TurnsALargeSceneAboutThePointUnderThePointerToo )
{
    viewer().sceneRoot().children()[0]->detach();
    const auto scan = std::make_shared<ObjectMesh>();
    scan->setMesh( std::make_shared<Mesh>( Testing::wavySheet( 420 ) ) );
    viewer().sceneRoot().addChild( scan );
    viewer().fitScene();
    settle();
    const Vector3d point = scan->mesh()->points.at( 421 * 132 + 165 ); // a crest
    const auto at = onScreen( point );
    beginTurn( at );
    ASSERT_TRUE( viewer().turningPoint() );
    EXPECT_LT( ( *viewer().turningPoint() - point ).length(), scan->treeBox().diagonal() * 0.02f );
    EXPECT_LT( ( onScreen( *viewer().turningPoint() ) - at ).length(), 1 );
    endTurn();
}

TEST_F( View, MarksThePointAboutWhichItTurns )
{
    const auto at = onScreen( nearCorner() );
    EXPECT_FALSE( viewer().turningPoint() );
    beginTurn( at );
    ASSERT_TRUE( viewer().turningPoint() );
    EXPECT_LT( ( *viewer().turningPoint() - nearCorner() ).length(), 0.02f );
    const auto marked = viewer().frameImage();
    endTurn();
    EXPECT_FALSE( viewer().turningPoint() );
    const auto ring = at + Vector2f{ 8, 0 };
    EXPECT_GT( distance( pixel( marked, ring ), pixel( viewer().frameImage(), ring ) ), 40 );
}

TEST_F( View, ATurnBesideTheModelGoesAboutWhatIsInTheMiddle )
{
    beginTurn( { 300, 740 } );
    ASSERT_TRUE( viewer().turningPoint() );
    const Vector2f middle = Vector2f{ 1280, 800 } - viewer().freeSize() * 0.5f;
    EXPECT_LT( ( onScreen( *viewer().turningPoint() ) - middle ).length(), 2 );
    endTurn();
}

TEST_F( View, TurnsAboutTheMiddleWhereTheSettingSaysSo )
{
    Config::instance().setBool( cTurnAboutPointerConfigKey, false );
    const auto point = nearCorner();
    const auto before = onScreen( point );
    beginTurn( before );
    EXPECT_FALSE( viewer().turningPoint() );
    EXPECT_GT( ( onScreen( point ) - before ).length(), 30 );
    endTurn();
}

TEST_F( View, SelectionIsSeenOnAnObjectOfItsColourToo )
{
    cube().setColor( viewer().drawSettings().highlight );
    const auto at = onScreen( nearCorner() );
    const auto before = pixel( frame(), at );
    cube().select( true );
    EXPECT_GT( distance( before, pixel( frame(), at ) ), 50 );
}

TEST_F( View, WireframeOfASurfaceWithoutNormalsIsNotBlack )
{
    viewer().sceneRoot().children()[0]->detach();
    viewer().drawSettings().edges = false;
    const auto scan = std::make_shared<ObjectMesh>();
    viewer().sceneRoot().addChild( scan );
    for ( const int cells : { 500, 60 } )
    {
        Mesh sheet = Testing::wavySheet( cells );
        sheet.normals.clear();
        scan->setMesh( std::make_shared<Mesh>( sheet ) );
        scan->setVisible( true );
        viewer().fitScene();
        const auto at = onScreen( scan->treeBox().center() );
        viewer().drawSettings().wireframe = true;
        const auto lines = viewer().sceneImage();
        viewer().drawSettings().wireframe = false;
        const auto surface = viewer().sceneImage();
        scan->setVisible( false );
        const auto nothing = viewer().sceneImage();
        int dark = 0, seen = 0, through = 0;
        for ( int x = -60; x < 60; ++x )
            for ( int y = -20; y < 20; ++y )
            {
                const Vector2f place = at + Vector2f{ float( x ), float( y ) };
                const auto line = pixel( lines, place );
                dark += std::max( { line[0], line[1], line[2] } ) < 16;
                seen += distance( line, pixel( nothing, place ) ) > 8;
                through += distance( line, pixel( surface, place ) ) > 8;
            }
        EXPECT_EQ( dark, 0 ) << cells;
        EXPECT_GT( seen, cells == 500 ? 3000 : 500 ) << "of 4800";
        EXPECT_GT( through, 1500 ) << "what is behind is seen";
    }
}

TEST_F( View, PictureIsCentredAndOfTheSizeThatIsAskedFor )
{
    for ( const auto& [width, height] : { std::pair( 640, 480 ), std::pair( 300, 900 ), std::pair( 2000, 500 ) } )
    {
        const auto picture = viewer().takePicture( { width, height, true } );
        ASSERT_TRUE( picture ) << picture.error();
        EXPECT_EQ( picture->width, width );
        EXPECT_EQ( picture->height, height );
        ASSERT_EQ( picture->channels, 4 );
        EXPECT_NEAR( middleOf( *picture ).x, 0.5f, 0.01f );
        EXPECT_NEAR( middleOf( *picture ).y, 0.5f, 0.01f );
    }
}

TEST_F( View, PictureShowsWhatTheWindowShowsBesideThePanels )
{
    const auto free = viewer().freeSize();
    const auto picture = viewer().takePicture( { int( free.x ), int( free.y ), true } );
    ASSERT_TRUE( picture ) << picture.error();
    const auto whole = viewer().sceneImage();
    cube().setVisible( false );
    const auto nothing = viewer().sceneImage();
    const Vector2f corner = Vector2f{ 1280, 800 } - free;
    int different = 0, covered = 0;
    for ( int y = 0; y < picture->height; ++y )
        for ( int x = 0; x < picture->width; ++x )
        {
            const Vector2f there = corner + Vector2f{ float( x ), float( y ) };
            const bool isCube = distance( pixel( whole, there ), pixel( nothing, there ) ) > 3;
            const bool isOpaque = picture->pixels[size_t( y * picture->width + x ) * 4 + 3] > 0;
            covered += isOpaque;
            different += isCube != isOpaque;
        }
    EXPECT_GT( covered, 50'000 );
    EXPECT_LT( different, covered / 100 );
}

TEST_F( View, TransparentPictureHasNoBackgroundAndNoDarkRim )
{
    cube().setColor( { 250, 250, 250, 255 } );
    viewer().drawSettings().edges = false;
    const auto picture = viewer().takePicture( { 400, 400, true } );
    ASSERT_TRUE( picture ) << picture.error();
    EXPECT_EQ( picture->pixels[3], 0 ) << "the corner";
    size_t rim = 0, body = 0;
    int darkest = 255;
    for ( size_t i = 0; i < picture->pixels.size(); i += 4 )
    {
        const int alpha = picture->pixels[i + 3];
        body += alpha == 255;
        if ( alpha < 40 || alpha == 255 )
            continue;
        ++rim;
        darkest = std::min( darkest, int( picture->pixels[i] ) );
    }
    EXPECT_GT( body, 10'000u );
    EXPECT_GT( rim, 50u );
    EXPECT_GT( darkest, 60 ) << "black is not mixed in";
}

TEST_F( View, PictureHasNoSelectionInIt )
{
    const auto before = viewer().takePicture( { 300, 300, false } );
    cube().select( true );
    const auto after = viewer().takePicture( { 300, 300, false } );
    ASSERT_TRUE( before && after );
    EXPECT_EQ( before->pixels, after->pixels );
}

TEST_F( View, PictureIsSavedByEnterAlone )
{
    press( GLFW_KEY_P, GLFW_MOD_CONTROL );
    ASSERT_TRUE( isWindowShown( "Save picture" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( "Save picture" ) );
    ASSERT_TRUE( isWindowShown( "Save##fileDialog" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( "Save##fileDialog" ) );
    int width = 0, height = 0, channels = 0;
    ASSERT_TRUE( stbi_info( ( folder_.path() / "picture.png" ).c_str(), &width, &height, &channels ) );
    EXPECT_EQ( width, int( viewer().freeSize().x ) );
    EXPECT_EQ( height, int( viewer().freeSize().y ) );
    EXPECT_EQ( channels, 3 );
}

TEST_F( View, EnterThatIsHeldOpensTheFileDialogAndLeavesItsFieldTheKeyboard )
{
    press( GLFW_KEY_P, GLFW_MOD_CONTROL );
    ASSERT_TRUE( isWindowShown( "Save picture" ) );
    auto& io = ImGui::GetIO();
    io.KeyRepeatDelay = ImGuiIO().KeyRepeatDelay;
    window().pressKey( GLFW_KEY_ENTER, true, 0 );
    drawUntil( [] { return isWindowShown( "Save##fileDialog" ); } );
    const float repeated = io.KeyRepeatDelay + 2 * io.KeyRepeatRate;
    drawUntil( [&] { return io.KeysDownDuration[ImGui::GetKeyIndex( ImGuiKey_Enter )] > repeated; } );
    window().pressKey( GLFW_KEY_ENTER, false, 0 );
    settle();
    EXPECT_TRUE( io.WantTextInput ) << "the name can be typed";
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isWindowShown( "Save##fileDialog" ) );
    EXPECT_TRUE( std::filesystem::exists( folder_.path() / "picture.png" ) );
}

TEST_F( View, PictureToolSavesWithoutABackground )
{
    pressTool( "Save picture" );
    click( { windowPointFromTop( "Save picture", 24, 0 ).x, windowPoint( "Save picture", 0, 66 ).y } );
    click( windowPoint( "Save picture", 60, 28 ) );
    ASSERT_TRUE( isWindowShown( "Save##fileDialog" ) );
    press( GLFW_KEY_ENTER );
    int width = 0, height = 0, channels = 0;
    ASSERT_TRUE( stbi_info( ( folder_.path() / "picture.png" ).c_str(), &width, &height, &channels ) );
    EXPECT_EQ( channels, 4 );
}
