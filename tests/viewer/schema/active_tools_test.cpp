#include <VXViewer/schema/ActiveTools.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// A tool that tells what is done to it.
class Tool final : public RibbonMenuItem
{
public:
    Tool( std::string name, std::string& told, bool blocking )
        : RibbonMenuItem( std::move( name ) )
        , told_( told )
        , blocking_( blocking )
    {
    }
    bool action() override
    {
        told_ += ( active ? "-" : "+" ) + name() + " ";
        active = stuck || !active;
        return does;
    }
    [[nodiscard]] bool isActive() const override { return active; }
    [[nodiscard]] bool isToggle() const override { return toggle; }
    [[nodiscard]] bool blocking() const override { return blocking_; }

    bool active = false;
    bool toggle = false;
    /// Once started it stays, whatever is done.
    bool stuck = false;
    bool does = true;

private:
    std::string& told_;
    bool blocking_;
};

class ToolsAtWork : public testing::Test
{
protected:
    std::shared_ptr<Tool> tool( const char* name, bool blocking )
    {
        return std::make_shared<Tool>( name, told_, blocking );
    }

    std::string told_;
    ActiveTools tools_;
    std::shared_ptr<Tool> measure_ = tool( "measure", true ), select_ = tool( "select", true ),
                          settings_ = tool( "settings", false ), picture_ = tool( "picture", false );
};

using Items = std::vector<ActiveTools::Item>;

} // namespace

TEST_F( ToolsAtWork, ABlockingOneEndsTheOther )
{
    EXPECT_TRUE( tools_.empty() );
    tools_.press( measure_ );
    EXPECT_EQ( tools_.blocking(), measure_ );
    tools_.press( select_ );
    EXPECT_EQ( told_, "+measure -measure +select " );
    EXPECT_EQ( tools_.blocking(), select_ );
    tools_.press( select_ );
    EXPECT_EQ( told_, "+measure -measure +select -select " );
    EXPECT_TRUE( tools_.empty() );
}

TEST_F( ToolsAtWork, OthersStandBesideIt )
{
    for ( const auto& item : { settings_, measure_, picture_ } )
        tools_.press( item );
    EXPECT_EQ( told_, "+settings +measure +picture " );
    EXPECT_EQ( tools_.blocking(), measure_ );
    EXPECT_EQ( tools_.others(), ( Items{ settings_, picture_ } ) );
    tools_.update( settings_ );
    EXPECT_EQ( tools_.others().size(), 2u ) << "it is there once";
    tools_.press( settings_ );
    EXPECT_EQ( tools_.others(), Items{ picture_ } );
}

TEST_F( ToolsAtWork, SwitchesAreNotAmongThem )
{
    settings_->toggle = measure_->toggle = true;
    tools_.press( settings_ );
    tools_.press( measure_ );
    EXPECT_TRUE( settings_->active && measure_->active );
    EXPECT_TRUE( tools_.empty() );
}

TEST_F( ToolsAtWork, TellsWhetherTheToolDidSomething )
{
    EXPECT_TRUE( tools_.press( measure_ ) );
    select_->does = false;
    EXPECT_FALSE( tools_.press( select_ ) );
}

TEST_F( ToolsAtWork, OneThatEndsByItselfIsGone )
{
    tools_.press( measure_ );
    tools_.press( picture_ );
    measure_->active = picture_->active = false;
    tools_.update( measure_ );
    tools_.update( picture_ );
    EXPECT_TRUE( tools_.empty() );
}

TEST_F( ToolsAtWork, EscapeMeansTheBlockingOneThenTheLast )
{
    EXPECT_EQ( tools_.topmost(), nullptr );
    for ( const auto& item : { settings_, measure_, picture_ } )
        tools_.press( item );
    EXPECT_EQ( tools_.topmost(), measure_ );
    tools_.press( measure_ );
    EXPECT_EQ( tools_.topmost(), picture_ );
}

TEST_F( ToolsAtWork, AllEndAlsoOneThatWillNot )
{
    settings_->stuck = measure_->stuck = true;
    for ( const auto& item : { settings_, picture_, measure_ } )
        tools_.press( item );
    told_.clear();
    tools_.endAll();
    EXPECT_EQ( told_, "-measure -picture -settings " );
    EXPECT_TRUE( tools_.empty() );
}
