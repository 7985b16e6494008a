#pragma once

#include <VXOrvanta/Export.h>

#include <string>

namespace VX
{

/// The signed-in user of this process.
///
/// There is no lock. It is written on the main thread, under an `AccountLock`; another thread takes its copy by
/// `copyOfAccessToken`, or is handed one.
class VXORVANTA_API UserInfo
{
public:
    UserInfo( const UserInfo& ) = delete;
    UserInfo& operator=( const UserInfo& ) = delete;

    /// Empty when nobody is signed in.
    [[nodiscard]] static const std::string& getEmail();
    /// A sign-in, or with an empty address a sign-out: opens or closes the telemetry session with the stored consent,
    /// and shows the address in the window's title.
    static void setEmail( std::string email );

    /// The credential that services ask for; empty when nobody is signed in.
    [[nodiscard]] static const std::string& getAccessToken();
    static void setAccessToken( std::string token );

    /// Who shows the address from now on; told at each `setEmail`, after the telemetry session and before `getEmail`.
    static void setDisplay( void ( *show )( const std::string& email ) );

private:
    UserInfo() = default;
    static UserInfo& instance_();
    std::string email_;
    std::string accessToken_;
};

} // namespace VX
