#include <VXViewer/history/HistoryStore.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

using Type = HistoryAction::Type;

/// Writes down what it is asked to do.
class Noted final : public HistoryAction
{
public:
    Noted( std::string name, std::string& notes )
        : name_( std::move( name ) )
        , notes_( notes )
    {
    }
    [[nodiscard]] std::string name() const override { return name_; }
    void action( Type type ) override { notes_ += ( type == Type::Undo ? "-" : "+" ) + name_; }

private:
    std::string name_;
    std::string& notes_;
};

class SavedPlace : public testing::Test
{
protected:
    void step( const std::string& name = "s" ) { store_.appendAction( std::make_shared<Noted>( name, notes_ ) ); }
    void opening() { store_.appendOpening( std::make_shared<Noted>( "o", notes_ ) ); }
    void undo( int count = 1 )
    {
        while ( count-- > 0 )
            ASSERT_TRUE( store_.undo() );
    }
    /// One letter a place, from the first one to the last: "S" where nothing is unsaved. It ends at the last one.
    std::string places()
    {
        while ( store_.undo() )
            continue;
        std::string out( 1, store_.isSaved() ? 'S' : '.' );
        while ( store_.redo() )
            out += store_.isSaved() ? 'S' : '.';
        return out;
    }

    std::string notes_;
    HistoryStore store_;
};

} // namespace

TEST_F( SavedPlace, StepsAreTakenBackAndDoneAgainInTheirOrder )
{
    step( "a" );
    step( "b" );
    EXPECT_EQ( notes_, "" ) << "what is appended has been done";
    undo( 2 );
    EXPECT_FALSE( store_.undo() );
    EXPECT_EQ( store_.getActionNames( Type::Redo ), ( std::vector<std::string>{ "a", "b" } ) );
    EXPECT_EQ( store_.getLastActionName( Type::Redo ), "a" );
    EXPECT_EQ( store_.getLastActionName( Type::Undo ), "" );
    EXPECT_TRUE( store_.redo() );
    EXPECT_TRUE( store_.redo() );
    EXPECT_EQ( notes_, "-b-a+a+b" );
    EXPECT_EQ( store_.getLastActionName( Type::Redo ), "" );
    EXPECT_TRUE( store_.getActionNames( Type::Redo ).empty() );
}

TEST_F( SavedPlace, TheSignalComesAfterTheChange )
{
    std::string seen;
    const boost::signals2::scoped_connection connection = store_.changedSignal.connect(
        [&]( const HistoryStore& store, HistoryStore::ChangeType type )
        {
            seen += std::to_string( int( type ) ) + ( store.canUndo() ? "u" : "" ) + ( store.canRedo() ? "r" : "" ) +
                    ( store.isSaved() ? "s " : " " );
        } );
    step();
    step();
    store_.markSaved();
    undo();
    store_.redo();
    EXPECT_FALSE( store_.redo() );
    store_.clear();
    store_.clear();
    EXPECT_FALSE( store_.undo() );
    EXPECT_EQ( seen, "0u 0u 4us 1ur 2us 3s " ) << "nothing is told where nothing has changed";
}

TEST_F( SavedPlace, IsOneAndNoOther )
{
    for ( int i = 0; i < 4; ++i )
        step();
    EXPECT_EQ( places(), "S...." );
    undo( 2 );
    store_.markSaved();
    EXPECT_EQ( places(), "..S.." );
    store_.markSaved();
    EXPECT_EQ( places(), "....S" );
}

TEST_F( SavedPlace, StaysWhereAStepIsAppendedBehindIt )
{
    step();
    step();
    undo();
    store_.markSaved();
    step();
    EXPECT_EQ( places(), ".S." ) << "a step in place of one that was taken back";
}

TEST_F( SavedPlace, StretchesOverWhatIsOpenedAtOnce )
{
    opening();
    opening();
    EXPECT_EQ( places(), "SSS" );
    step();
    opening();
    EXPECT_EQ( places(), "SSS.." ) << "an opening saves nothing of what was made before";
    store_.markSaved();
    opening();
    EXPECT_EQ( places(), "....SS" );
}

TEST_F( SavedPlace, EndsWhereAnOpeningWasReplacedByAStep )
{
    opening();
    opening();
    undo();
    step();
    EXPECT_EQ( places(), "SS." );
    undo( 2 );
    step();
    EXPECT_EQ( places(), "S." );
}

TEST_F( SavedPlace, GoesWhereItWasTakenBackAndReplaced )
{
    step();
    step();
    store_.markSaved();
    undo();
    opening();
    EXPECT_EQ( places(), "..." ) << "what was saved cannot be reached, and the opening follows unsaved work";
}

TEST_F( SavedPlace, MovesWithTheOldestStepsUntilItIsTheOldestItself )
{
    const auto fill = [this]( size_t count )
    {
        for ( size_t i = 0; i < count; ++i )
            step();
    };
    step();
    step();
    store_.markSaved();
    opening();
    fill( HistoryStore::cMaxActions - 3 );
    EXPECT_EQ( places().substr( 0, 5 ), "..SS." );
    EXPECT_EQ( places().size(), HistoryStore::cMaxActions + 1 );
    fill( 1 );
    EXPECT_EQ( places().substr( 0, 4 ), ".SS." );
    EXPECT_EQ( places().size(), HistoryStore::cMaxActions + 1 );
    fill( 1 );
    EXPECT_EQ( places().substr( 0, 4 ), "SS.." );
    fill( 1 );
    EXPECT_EQ( places().substr( 0, 4 ), "S..." );
    fill( 1 );
    EXPECT_EQ( places().find( 'S' ), std::string::npos );
}

TEST_F( SavedPlace, OfFiveHundredStepsAndNoMore )
{
    for ( int i = 0; i < 501; ++i )
        step( std::to_string( i ) );
    const auto names = store_.getActionNames( Type::Undo );
    ASSERT_EQ( names.size(), 500u );
    EXPECT_EQ( names.back(), "1" ) << "the oldest one has gone";
}

TEST_F( SavedPlace, IsThereAgainWhenAllIsForgotten )
{
    step();
    store_.clear();
    EXPECT_TRUE( store_.isSaved() );
    EXPECT_FALSE( store_.canUndo() || store_.canRedo() );
    step();
    undo();
    EXPECT_TRUE( store_.isSaved() );
}
