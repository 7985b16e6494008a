#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"
#include "support/service/SandboxOption.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

using namespace VX;
using Testing::runCommand;

namespace
{

const std::string cBackend = ORVANTA_BACKEND;

Testing::CommandOutput list( const std::filesystem::path& data )
{
    return runCommand( cBackend + " user list --data '" + data.string() + "' 2>&1" );
}

Testing::CommandOutput add( const std::filesystem::path& data )
{
    return runCommand( cBackend + " user add ann@example.org --data '" + data.string() + "' 2>&1" );
}

Testing::CommandOutput serve( const std::filesystem::path& data )
{
    // It ends at once, or is stopped: a service that starts here is a fault.
    return runCommand( "timeout 20 " + cBackend + " serve --port 0 " + Testing::sandboxOption() + " --data '" +
                       data.string() + "' 2>&1" );
}

mode_t modeOf( const std::filesystem::path& path )
{
    struct stat info{};
    EXPECT_EQ( ::stat( path.c_str(), &info ), 0 );
    return info.st_mode & 07777;
}

} // namespace

TEST( DataFolder, ASecondServiceIsRefusedAndTheFirstGoesOn )
{
    const Testing::BackendProcess backend;
    std::ofstream( backend.data() / "work" / "of-the-first" ) << "x";
    const auto second = serve( backend.data() );
    EXPECT_EQ( second.status, 1 );
    EXPECT_NE(
        second.text.find( "The folder \"" + backend.data().string() + "\" is in use by the service of process " ),
        std::string::npos )
        << second.text;
    EXPECT_TRUE( std::filesystem::exists( backend.data() / "work" / "of-the-first" ) );
    EXPECT_TRUE( backend.isRunning() );
}

TEST( DataFolder, OperatorsWorkBesideTheService )
{
    const Testing::BackendProcess backend;
    EXPECT_EQ( add( backend.data() ).status, 0 );
    EXPECT_NE( list( backend.data() ).text.find( "ann@example.org" ), std::string::npos );
    EXPECT_EQ( runCommand( cBackend + " stats --data '" + backend.data().string() + "'" ).status, 0 );
}

TEST( DataFolder, ABackupOfARunningServiceHoldsItsSignIns )
{
    Testing::BackendProcess backend;
    const auto data = backend.data().string();
    ASSERT_EQ( runCommand( "echo 'secret-word-1' | " + cBackend +
                           " user add ann@example.org --password-stdin --data '" + data + "'" )
                   .status,
        0 );
    const auto auth = [&]( const std::string& flow, const std::string& parameters )
    {
        const auto answer = runCommand( "curl -s --max-time 60 --cacert '" + data +
                                        "/ca.pem' -H 'x-amz-target: AWSCognitoIdentityProviderService.InitiateAuth' -d "
                                        "'{\"AuthFlow\":\"" +
                                        flow + "\",\"AuthParameters\":{" + parameters +
                                        "}}' https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/auth" );
        return deserializeJsonValue( answer.text ).value_or( Json::Value() )["AuthenticationResult"];
    };
    const auto token =
        auth( "USER_PASSWORD_AUTH", R"("USERNAME":"ann@example.org","PASSWORD":"secret-word-1")" )["RefreshToken"]
            .asString();
    ASSERT_NE( token, "" );
    const Testing::ScratchFolder folder;
    const auto copy = ( folder.path() / "backup" ).string();
    const auto made = runCommand( cBackend + " backup --data '" + data + "' '" + copy + "' 2>&1" );
    EXPECT_EQ( made.text, "The backup is in " + copy + "\n" );
    EXPECT_NE( runCommand( cBackend + " restore '" + copy + "' --data '" + data + "' 2>&1" ).status, 0 );
    backend.kill();
    for ( const auto& entry : std::filesystem::directory_iterator( data ) )
        std::filesystem::remove_all( entry );
    const auto restored = runCommand( cBackend + " restore '" + copy + "' --data '" + data + "' 2>&1" );
    EXPECT_EQ( restored.text, "Restored " + data + "\n" );
    backend.restart();
    EXPECT_NE( auth( "REFRESH_TOKEN_AUTH", "\"REFRESH_TOKEN\":\"" + token + "\"" )["AccessToken"].asString(), "" );
}

TEST( DataFolder, IsFreeAgainAfterAKill )
{
    Testing::BackendProcess backend;
    backend.restart();
    EXPECT_TRUE( backend.isRunning() );
}

TEST( DataFolder, APasswordIsPrintedOnlyWhereNobodyKnowsIt )
{
    const Testing::ScratchFolder folder;
    const auto data = ( folder.path() / "data" ).string();
    const auto made = runCommand( cBackend + " user add ann@example.org --data '" + data + "'" );
    EXPECT_TRUE( made.text.starts_with( "Added ann@example.org\nPassword: " ) ) << made.text;
    EXPECT_GE( made.text.size(), std::string( "Added ann@example.org\nPassword: " ).size() + 12 );
    const auto given = runCommand(
        "echo secret-word-1 | " + cBackend + " user reset ann@example.org --password-stdin --data '" + data + "'" );
    EXPECT_EQ( given.text, "Reset the password of ann@example.org and ended its sign-ins\n" );
    const auto kept = runCommand( cBackend + " user reset ann@example.org --credentials '" +
                                  ( folder.path() / "credentials" ).string() + "' --data '" + data + "'" );
    EXPECT_EQ( kept.text, "Reset the password of ann@example.org and ended its sign-ins\n" );
    EXPECT_EQ( modeOf( folder.path() / "credentials" ), 0600u );
}

TEST( DataFolder, WhatTheFirstCommandMakesIsForItsOwnerAlone )
{
    const Testing::ScratchFolder folder;
    const auto data = folder.path() / "data";
    ASSERT_EQ(
        runCommand( "umask 022; " + cBackend + " user add ann@example.org --data '" + data.string() + "'" ).status, 0 );
    size_t files = 0;
    for ( const auto& entry : std::filesystem::directory_iterator( data ) )
    {
        EXPECT_EQ( modeOf( entry.path() ) & 0077u, 0u ) << entry.path();
        ++files;
    }
    EXPECT_GE( files, 2u ) << "the database and the keys";
}

TEST( DataFolder, EachCommandToAnAccountIsDoneAndSaid )
{
    const Testing::ScratchFolder folder;
    const auto data = folder.path() / "data";
    ASSERT_EQ( add( data ).status, 0 );
    const auto user = [&]( const std::string& action )
    {
        return runCommand( cBackend + " user " + action + " ann@example.org --data '" + data.string() + "' 2>&1" ).text;
    };
    // The name, and the state in a column of its own.
    const auto isListedAs = [&]( const std::string& state )
    { return list( data ).text.starts_with( "ann@example.org" + std::string( 26, ' ' ) + state + " " ); };
    EXPECT_TRUE( isListedAs( "confirmed" ) ) << list( data ).text;
    EXPECT_EQ( user( "confirm" ), "Confirmed ann@example.org\n" );
    EXPECT_EQ( user( "block" ), "Blocked ann@example.org and ended its sign-ins\n" );
    EXPECT_TRUE( isListedAs( "blocked" ) ) << list( data ).text;
    EXPECT_EQ( user( "unblock" ), "ann@example.org may sign in again\n" );
    EXPECT_TRUE( isListedAs( "confirmed" ) ) << list( data ).text;
    EXPECT_EQ( user( "remove" ), "Removed ann@example.org\n" );
    EXPECT_EQ( list( data ).text, "" );
}

TEST( DataFolder, AListChangesNothingWhereThereIsNoDatabase )
{
    const Testing::ScratchFolder folder;
    ASSERT_EQ( ::chmod( folder.path().c_str(), 0755 ), 0 );
    const auto listed = list( folder.path() );
    EXPECT_EQ( listed.status, 1 );
    EXPECT_EQ( listed.text, "There is no database in \"" + folder.path().string() + "\"\n" );
    EXPECT_EQ( modeOf( folder.path() ), 0755u );
    EXPECT_TRUE( std::filesystem::is_empty( folder.path() ) );
    EXPECT_EQ( list( folder.path() / "missing" ).status, 1 );
    EXPECT_FALSE( std::filesystem::exists( folder.path() / "missing" ) );
}

TEST( DataFolder, AFolderOfEverybodyIsRefusedAsItIs )
{
    const Testing::ScratchFolder folder;
    ASSERT_EQ( ::chmod( folder.path().c_str(), 01777 ), 0 );
    for ( const auto& refused : { serve( folder.path() ), add( folder.path() ) } )
    {
        EXPECT_EQ( refused.status, 1 );
        EXPECT_NE( refused.text.find( "is open to everybody" ), std::string::npos ) << refused.text;
    }
    EXPECT_EQ( modeOf( folder.path() ), 01777u );
    EXPECT_TRUE( std::filesystem::is_empty( folder.path() ) );
}

TEST( DataFolder, WhatRootAddsIsTheServicesOwn )
{
    constexpr uid_t cService = 65534;
    const Testing::ScratchFolder folder;
    if ( ::chown( folder.path().c_str(), cService, cService ) != 0 )
        GTEST_SKIP() << "only root can give files away";
    ASSERT_EQ( add( folder.path() ).status, 0 );
    for ( const char* name : { "orvanta.db", "identity-keys.json" } )
    {
        struct stat info{};
        ASSERT_EQ( ::stat( ( folder.path() / name ).c_str(), &info ), 0 ) << name;
        EXPECT_EQ( info.st_uid, cService ) << name;
    }
}
