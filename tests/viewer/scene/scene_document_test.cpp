#include "support/SceneFixture.h"
#include "support/ScratchFolder.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXViewer/core/ViewerTitle.h>

using namespace VX;

namespace
{

class Document : public Testing::SceneFixture
{
protected:
    Document()
    {
        viewer().setViewerTitle( nullptr );
        viewer().setViewerTitle( std::make_shared<ViewerTitle>() );
        viewer().viewerTitle()->setAppName( "V" );
    }
    static SceneDocument& document() { return sceneDocument(); }
    static std::string title() { return viewer().viewerTitle()->compose(); }
    /// Opens a scene of one object.
    static void open( const std::filesystem::path& file, const std::string& name )
    {
        document().open( file, { Testing::meshObject( name, Testing::cube() ) } );
    }
    /// The names that stand in a file.
    static std::string namesIn( const std::filesystem::path& file )
    {
        const auto bytes = Testing::readFile( file );
        const auto loaded = readVxu( std::as_bytes( std::span( bytes ) ) );
        EXPECT_TRUE( loaded ) << loaded.error();
        std::string out;
        if ( loaded )
            for ( const auto& object : loaded->objects )
                out += object->name() + " ";
        return out;
    }

    const Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( Document, ASceneFileIsToldByItsName )
{
    for ( const char* name : { "a.vxu", "/b/A.VXU", "a.stl.vxu", "ü.Vxu" } )
        EXPECT_TRUE( SceneDocument::isSceneFile( name ) ) << name;
    for ( const char* name : { "", "vxu", ".vxu", "a.vxu.stl", "a.vxu/", "a.vxu2", "a.glb", "a." } )
        EXPECT_FALSE( SceneDocument::isSceneFile( name ) ) << name;
}

TEST_F( Document, IsSavedToWhereItBelongsFromThereOn )
{
    add( "first" );
    add( "second" );
    EXPECT_FALSE( document().isSaved() );
    EXPECT_EQ( title(), "*V" );
    std::filesystem::path told;
    const boost::signals2::scoped_connection connection = document().savedSignal.connect(
        [&]( const std::filesystem::path& file )
        {
            told = file;
            EXPECT_TRUE( document().isSaved() ) << "the signal comes when all is done";
        } );
    const auto file = folder_.path() / "scene ü.vxu";
    const auto saved = document().save( file );
    ASSERT_TRUE( saved ) << saved.error();
    EXPECT_EQ( told, file );
    EXPECT_EQ( document().file(), file );
    EXPECT_EQ( title(), "scene ü.vxu - V" );
    EXPECT_EQ( namesIn( file ), "first second " );
    ASSERT_TRUE( history().undo() );
    EXPECT_EQ( title(), "*scene ü.vxu - V" );
    ASSERT_TRUE( history().redo() );
    EXPECT_EQ( title(), "scene ü.vxu - V" );
}

TEST_F( Document, ThatCannotBeSavedStaysWhereItWasAndUnsaved )
{
    add( "work" );
    document().setFile( "/before.vxu" );
    bool told = false;
    const boost::signals2::scoped_connection connection =
        document().savedSignal.connect( [&]( const std::filesystem::path& ) { told = true; } );
    const auto file = folder_.path() / "nowhere/scene.vxu";
    const auto saved = document().save( file );
    ASSERT_FALSE( saved );
    EXPECT_NE( saved.error().find( file.string() ), std::string::npos ) << saved.error();
    EXPECT_EQ( document().file(), "/before.vxu" );
    EXPECT_FALSE( document().isSaved() );
    EXPECT_FALSE( told );
    EXPECT_EQ( title(), "*before.vxu - V" );
}

TEST_F( Document, OpeningTakesThePlaceOfAllOthersAndIsNoUnsavedWork )
{
    add( "former" );
    open( "/scenes/other.vxu", "opened" );
    EXPECT_EQ( names(), "opened " );
    EXPECT_EQ( document().file(), "/scenes/other.vxu" );
    EXPECT_EQ( title(), "other.vxu - V" );
    EXPECT_TRUE( document().isSaved() );
    EXPECT_EQ( history().getActionNames( HistoryAction::Type::Undo ), ( std::vector<std::string>{ "Open File" } ) )
        << "steps of the former scene would bring its objects back";
}

TEST_F( Document, AnOpeningThatIsTakenBackTakesItsFileAlong )
{
    open( "/scenes/other.vxu", "opened" );
    ASSERT_TRUE( history().undo() );
    EXPECT_EQ( names(), "" );
    EXPECT_EQ( document().file(), "" ) << "or the next scene would be saved over it";
    EXPECT_EQ( title(), "V" );
    ASSERT_TRUE( history().redo() );
    EXPECT_EQ( names(), "opened " );
    EXPECT_EQ( document().file(), "/scenes/other.vxu" );
}

TEST_F( Document, IsEmptiedWithItsHistoryAndItsFile )
{
    open( "/scenes/other.vxu", "opened" );
    add( "more" );
    document().clear();
    EXPECT_EQ( names(), "" );
    EXPECT_EQ( document().file(), "" );
    EXPECT_FALSE( history().canUndo() );
    EXPECT_TRUE( document().isSaved() );
    EXPECT_EQ( title(), "V" );
}

TEST_F( Document, FollowsTheHistoryThatTakesThePlace )
{
    add( "work" );
    const auto former = viewer().getHistoryStore();
    viewer().setHistoryStore( std::make_shared<HistoryStore>() );
    EXPECT_TRUE( document().isSaved() );
    EXPECT_EQ( title(), "V" ) << "shown at once";
    add( "more" );
    EXPECT_EQ( title(), "*V" );
    history().markSaved();
    former->undo();
    EXPECT_EQ( title(), "V" ) << "nothing is heard of the former one";
}

TEST_F( Document, WithoutAHistoryIsNeverUnsaved )
{
    viewer().setHistoryStore( nullptr );
    add( "work" );
    EXPECT_TRUE( document().isSaved() );
    const auto file = folder_.path() / "scene.vxu";
    EXPECT_TRUE( document().save( file ) );
    EXPECT_EQ( namesIn( file ), "work " );
    open( "/scenes/other.vxu", "opened" );
    EXPECT_EQ( names(), "opened " );
    document().clear();
    EXPECT_EQ( names(), "" );
}

TEST_F( Document, BelongsNowhereOnceTheViewerHasEnded )
{
    document().setFile( "/scenes/part.vxu" );
    EXPECT_EQ( title(), "part.vxu - V" );
    viewer().sceneClosedSignal();
    EXPECT_EQ( document().file(), "" );
}

TEST_F( Document, WithoutATitleIsSavedAllTheSame )
{
    viewer().setViewerTitle( nullptr );
    add( "work" );
    EXPECT_TRUE( document().save( folder_.path() / "scene.vxu" ) );
    EXPECT_TRUE( document().isSaved() );
}
