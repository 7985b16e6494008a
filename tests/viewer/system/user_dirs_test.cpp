#include "support/ScratchFolder.h"

#include <VXViewer/system/UserDirs.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace VX;
using std::filesystem::perms;

namespace
{

/// Gives a variable of the environment back as it was.
class Variable
{
public:
    explicit Variable( const char* name )
        : name_( name )
    {
        if ( const char* value = std::getenv( name ) )
            former_ = value;
    }
    ~Variable() { former_ ? ::setenv( name_, former_->c_str(), 1 ) : ::unsetenv( name_ ); }
    Variable( const Variable& ) = delete;
    Variable& operator=( const Variable& ) = delete;

    void set( const std::string& value ) const { ::setenv( name_, value.c_str(), 1 ); }
    void unset() const { ::unsetenv( name_ ); }

private:
    const char* name_;
    std::optional<std::string> former_;
};

class UserDirs : public testing::Test
{
protected:
    UserDirs()
    {
        setUserConfigName( "OrvantaTest" );
        home_.set( folder_.path().string() );
        config_.unset();
        state_.unset();
    }
    static perms modeOf( const std::filesystem::path& path ) { return std::filesystem::status( path ).permissions(); }

    const Testing::ScratchFolder folder_;
    const Variable home_{ "HOME" }, config_{ "XDG_CONFIG_HOME" }, state_{ "XDG_STATE_HOME" };
};

} // namespace

TEST_F( UserDirs, StandBelowTheHomeFolderUnlessTheEnvironmentSaysOtherwise )
{
    EXPECT_EQ( getUserConfigDir(), folder_.path() / ".config/OrvantaTest" );
    EXPECT_EQ( getUserStateDir(), folder_.path() / ".local/state/OrvantaTest" );
    config_.set( ( folder_.path() / "c" ).string() );
    state_.set( ( folder_.path() / "s" ).string() );
    EXPECT_EQ( getUserConfigDir(), folder_.path() / "c/OrvantaTest" );
    EXPECT_EQ( getUserStateDir(), folder_.path() / "s/OrvantaTest" );
}

TEST_F( UserDirs, AreMadeForTheirOwnerAlone )
{
    const auto former = ::umask( 0 );
    for ( const auto& dir : { getUserConfigDir(), getUserStateDir() } )
        EXPECT_EQ( modeOf( dir ), perms::owner_all ) << dir;
    ::umask( 0777 );
    setUserConfigName( "Second" );
    const auto strict = getUserConfigDir();
    ::umask( former );
    EXPECT_EQ( modeOf( strict ), perms::owner_all ) << "and for them to use, whatever the mask";
}

TEST_F( UserDirs, KeepTheModeThatTheUserHasGivenThem )
{
    const auto dir = getUserConfigDir();
    std::filesystem::permissions( dir, perms( 0750 ) );
    EXPECT_EQ( getUserConfigDir(), dir );
    EXPECT_EQ( modeOf( dir ), perms( 0750 ) );
}

TEST_F( UserDirs, IgnoreWhatIsNoAbsolutePath )
{
    const auto former = std::filesystem::current_path();
    std::filesystem::current_path( folder_.path() );
    for ( const char* wrong : { "", "relative", "./here", "~/config" } )
    {
        config_.set( wrong );
        EXPECT_EQ( getUserConfigDir(), folder_.path() / ".config/OrvantaTest" ) << wrong;
    }
    std::filesystem::current_path( former );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( folder_.path() ), {} ), 1 )
        << "nothing else is made";
}

TEST_F( UserDirs, AreNamedAfterTheProgram )
{
    setUserConfigName( "Ä name" );
    EXPECT_EQ( getUserConfigDir().filename(), "Ä name" );
    EXPECT_TRUE( std::filesystem::is_directory( getUserConfigDir() ) );
}

TEST_F( UserDirs, AreNamedEvenWhereTheyCannotBeMade )
{
    folder_.write( "file", "" );
    config_.set( ( folder_.path() / "file/below" ).string() );
    const auto dir = getUserConfigDir();
    EXPECT_EQ( dir, folder_.path() / "file/below/OrvantaTest" );
    EXPECT_FALSE( std::filesystem::exists( dir ) );
}

TEST_F( UserDirs, WithoutAHomeInTheEnvironmentTheSystemKnowsIt )
{
    const passwd* user = ::getpwuid( ::getuid() );
    const std::filesystem::path expected = user ? user->pw_dir : "/";
    EXPECT_EQ( getUserHomeDir(), folder_.path() );
    home_.set( "" );
    EXPECT_EQ( getUserHomeDir(), expected );
    home_.unset();
    EXPECT_EQ( getUserHomeDir(), expected );
}
