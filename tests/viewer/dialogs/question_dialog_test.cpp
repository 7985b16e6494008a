#include "support/ui/BareInterface.h"

#include <VXViewer/dialogs/QuestionDialog.h>
#include <VXViewer/window/Window.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr const char* cWindow = "##question";

class Questions : public Testing::BareInterface
{
protected:
    Questions()
    {
        draw = [this] { dialog_.draw( free_ ); };
    }
    /// With the answers Save, Cancel and Discard, which are told.
    Question question( const std::string& title, bool patient = false )
    {
        const auto tell = [this, title]( const char* what )
        { return [this, title, what] { told_ += title + " " + what + ", "; }; };
        return { .title = title,
            .text = "Text of " + title,
            .answers = { { "Save", tell( "save" ) }, { "Cancel", {} }, { "Discard", tell( "discard" ) } },
            .onEscape = tell( "escape" ),
            .isPatient = patient };
    }
    void ask( Question question )
    {
        dialog_.push( std::move( question ) );
        settle();
    }
    [[nodiscard]] bool isAsked() const { return dialog_.isShown( free_ ); }

    QuestionDialog dialog_;
    bool free_ = true;
    std::string told_;
};

} // namespace

TEST_F( Questions, EnterGivesTheFirstAnswer )
{
    ask( question( "A" ) );
    EXPECT_TRUE( isAsked() );
    EXPECT_TRUE( says( cWindow, "Text of A" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "A save, " );
    EXPECT_FALSE( isAsked() );
    EXPECT_FALSE( isShown( cWindow ) );
}

TEST_F( Questions, EscapeDoesWhatItWasGiven )
{
    ask( question( "A" ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( told_, "A escape, " );
    auto silent = question( "B" );
    silent.onEscape = {};
    ask( std::move( silent ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( told_, "A escape, " );
    EXPECT_FALSE( isAsked() ) << "it goes all the same";
}

TEST_F( Questions, AnswersAreGivenByTheMouseAlsoOnesThatDoNothing )
{
    ask( question( "A" ) );
    clickText( cWindow, "Discard" );
    EXPECT_EQ( told_, "A discard, " );
    ask( question( "B" ) );
    clickText( cWindow, "Cancel" );
    EXPECT_EQ( told_, "A discard, " );
    EXPECT_FALSE( isAsked() );
}

TEST_F( Questions, LettersAnswerWithAltAlone )
{
    ask( question( "A" ) );
    press( 'D' );
    press( 'D', ControlModifier );
    press( 'D', ControlModifier | AltModifier );
    press( 'X', AltModifier );
    EXPECT_TRUE( isAsked() );
    EXPECT_EQ( told_, "" );
    press( 'D', AltModifier );
    EXPECT_EQ( told_, "A discard, " );
}

TEST_F( Questions, ComeOneAfterTheOther )
{
    ask( question( "A" ) );
    ask( question( "B" ) );
    EXPECT_FALSE( says( cWindow, "Text of B" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( isAsked() ) << "one key answers one question";
    EXPECT_TRUE( says( cWindow, "Text of B" ) );
    press( 'D', AltModifier );
    EXPECT_EQ( told_, "A save, B discard, " );
}

TEST_F( Questions, OneOfTheSameTitleTakesThePlace )
{
    ask( question( "A" ) );
    ask( question( "B" ) );
    auto newer = question( "A" );
    newer.text = "Newer text";
    ask( std::move( newer ) );
    EXPECT_TRUE( says( cWindow, "Newer text" ) ) << "before B still";
    press( GLFW_KEY_ENTER );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isAsked() ) << "there were two";
    EXPECT_EQ( told_, "A save, B save, " );
}

TEST_F( Questions, PatientOnesWaitForTheSceneAndLetOthersPass )
{
    free_ = false;
    ask( question( "Patient", true ) );
    EXPECT_FALSE( isAsked() );
    EXPECT_FALSE( isShown( cWindow ) );
    ask( question( "Urgent" ) );
    EXPECT_TRUE( says( cWindow, "Text of Urgent" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( isAsked() );
    free_ = true;
    settle();
    EXPECT_TRUE( isAsked() );
    EXPECT_TRUE( says( cWindow, "Text of Patient" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( told_, "Urgent save, Patient save, " );
}

TEST_F( Questions, AnAnswerMayAskTheNext )
{
    auto first = question( "A" );
    first.answers[0].action = [this] { dialog_.push( question( "B" ) ); };
    ask( std::move( first ) );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( says( cWindow, "Text of B" ) );
    EXPECT_EQ( told_, "" ) << "the key was the first one's";
}

TEST_F( Questions, TheFirstAnswerStandsAtTheRightEdge )
{
    ask( question( "A" ) );
    EXPECT_EQ( said( cWindow ), "A\nText of A\nDiscard\nCancel\nSave\n" );
}

TEST_F( Questions, AnswersStandBelowEachOtherWhereARowHasNoRoom )
{
    auto wordy = question( "A" );
    wordy.answers[1].label = "Keep both of them under names of their own";
    wordy.answers[2].label = "Replace what stands there and forget about it";
    ask( std::move( wordy ) );
    clickText( cWindow, "Save" );
    EXPECT_EQ( told_, "A save, " );
}
