#include "identity/UserCommands.h"

#include "clock/SystemTime.h"
#include "data/DataFolder.h"
#include "identity/Accounts.h"
#include "identity/Passwords.h"
#include "identity/keys/KeyStores.h"
#include "text/ExitStatus.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Text.h>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <iostream>

namespace VX::Backend
{
namespace
{

using Result = tl::expected<void, std::string>;

tl::unexpected<std::string> failed( std::string text )
{
    return tl::unexpected( std::move( text ) );
}

/// The accounts in a folder, and what they need.
struct Store
{
    std::unique_ptr<Database> database;
    std::unique_ptr<Accounts> accounts;
};

/// An account may be added before the service has run; all else is about accounts that are there.
OpenedDatabase openDatabase( const DataPlace& place, UserCommand::Action action )
{
    auto there = openExistingMain( place );
    if ( there || action != UserCommand::Action::Add || !place.database.empty() )
        return there;
    return prepareDataFolder( place.data ).and_then( [&] { return openMain( place ); } );
}

/// What commands read has to be there before a service was.
DatabaseResult<void> prepare( Database& database )
{
    return Accounts::prepare( database ).and_then( [&] { return prepareKeys( database ); } );
}

tl::expected<Store, std::string> openStore( const DataPlace& place, UserCommand::Action action )
{
    auto database = openDatabase( place, action );
    if ( !database )
        return tl::unexpected( database.error() );
    Store store;
    store.database = std::move( *database );
    if ( const auto ready = prepare( *store.database ); !ready )
        return tl::unexpected( ready.error().text );
    const auto keys = keyStoreOf( place.data, *store.database )->ensure( systemTime() );
    if ( !keys )
        return tl::unexpected( keys.error() );
    store.accounts = std::make_unique<Accounts>( *store.database, keys->codes, &systemTime );
    giveToOwner( place.data );
    return store;
}

struct NewPassword
{
    std::string text;
    std::string hash;
};

tl::expected<NewPassword, std::string> choosePassword( const UserCommand& command )
{
    auto password = randomPassword();
    if ( command.passwordFromInput )
        std::getline( std::cin, password );
    if ( const auto problem = passwordProblem( password ); !problem.empty() )
        return failed( problem );
    auto hash = hashPassword( password );
    if ( hash.empty() )
        return failed( "There is not enough memory to hash the password" );
    return NewPassword{ std::move( password ), std::move( hash ) };
}

/// Hands a new password to whoever asked for it; one that was given is known already.
Result deliver( const UserCommand& command, const std::string& email, const std::string& password )
{
    if ( !command.credentials.empty() )
    {
        Json::Value root;
        root["email"] = email;
        root["password"] = password;
        return writeFileAtomically( command.credentials, root.toStyledString(), { .mode = 0600 } );
    }
    if ( !command.passwordFromInput )
        std::cout << "Password: " << password << "\n";
    return {};
}

Result addUser( const UserCommand& command, const std::string& email, Store& store )
{
    if ( !Accounts::isVisible( email ) )
        return failed( "\"" + visibleText( email ) + "\" has signs in it that nobody sees" );
    const auto password = choosePassword( command );
    if ( !password )
        return failed( password.error() );
    const auto added = store.accounts->add( email, password->hash, true );
    if ( !added )
        return failed( added.error().text );
    if ( !*added )
        return failed( "There is an account of " + email + " already" );
    std::cout << "Added " << email << "\n";
    return deliver( command, email, password->text );
}

Result resetUser( const UserCommand& command, const Account& account, Store& store )
{
    const auto password = choosePassword( command );
    if ( !password )
        return failed( password.error() );
    Database::Transaction transaction( *store.database );
    const auto set = store.accounts->setPassword( account.id, password->hash );
    if ( const auto kept = set.and_then( [&] { return transaction.commit(); } ); !kept )
        return failed( kept.error().text );
    std::cout << "Reset the password of " << account.email << " and ended its sign-ins\n";
    return deliver( command, account.email, password->text );
}

Result listUsers( Store& store )
{
    const auto accounts = store.accounts->list();
    if ( !accounts )
        return failed( accounts.error().text );
    for ( const auto& account : *accounts )
        std::cout << fmt::format( "{:<40} {:<12} since {:%Y-%m-%d}\n", visibleText( account.email ),
            account.blocked     ? "blocked"
            : account.confirmed ? "confirmed"
                                : "unconfirmed",
            account.created );
    return {};
}

Result confirmUser( const Account& account, Store& store )
{
    Database::Transaction transaction( *store.database );
    const auto confirmed = store.accounts->confirm( account.id );
    if ( const auto kept = confirmed.and_then( [&] { return transaction.commit(); } ); !kept )
        return failed( kept.error().text );
    std::cout << "Confirmed " << account.email << "\n";
    return {};
}

Result blockUser( const Account& account, Store& store, bool blocked )
{
    Database::Transaction transaction( *store.database );
    const auto set = store.accounts->setBlocked( account.id, blocked );
    if ( const auto kept = set.and_then( [&] { return transaction.commit(); } ); !kept )
        return failed( kept.error().text );
    std::cout << ( blocked ? "Blocked " + account.email + " and ended its sign-ins\n"
                           : account.email + " may sign in again\n" );
    return {};
}

Result removeUser( const Account& account, Store& store )
{
    Database::Transaction transaction( *store.database );
    const auto removed = store.accounts->remove( account.id );
    if ( const auto kept = removed.and_then( [&] { return transaction.commit(); } ); !kept )
        return failed( kept.error().text );
    std::cout << "Removed " << account.email << "\n";
    return {};
}

Result runOn( const UserCommand& command, const Account& account, Store& store )
{
    using Action = UserCommand::Action;
    switch ( command.action )
    {
    case Action::Confirm:
        return confirmUser( account, store );
    case Action::Reset:
        return resetUser( command, account, store );
    case Action::Block:
        return blockUser( account, store, true );
    case Action::Unblock:
        return blockUser( account, store, false );
    case Action::Add:
    case Action::List:
    case Action::Remove:
        break;
    }
    return removeUser( account, store );
}

Result run( const UserCommand& command )
{
    using Action = UserCommand::Action;
    auto store = openStore( command, command.action );
    if ( !store )
        return failed( store.error() );
    if ( command.action == Action::List )
        return listUsers( *store );
    const auto email = Accounts::normalized( command.email );
    if ( email.empty() )
        return failed( "\"" + command.email + "\" is no e-mail address" );
    if ( command.action == Action::Add )
        return addUser( command, email, *store );
    const auto account = store->accounts->find( email );
    if ( !account )
        return failed( account.error().text );
    if ( !*account )
        return failed( "There is no account of " + email );
    return runOn( command, **account, *store );
}

} // namespace

int runUserCommand( const UserCommand& command )
{
    return exitStatusOf( run( command ) );
}

} // namespace VX::Backend
