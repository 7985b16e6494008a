#pragma once

#include <VXOrvanta/Export.h>

#include <string>

namespace VX
{

/// The signed-in user of this process.
///
/// There is no lock. It is written on the main thread; another thread takes its copy while no sign-in or sign-out is
/// being processed, or is handed one.
class VXORVANTA_API UserInfo
{
public:
    /// Empty when nobody is signed in.
    [[nodiscard]] static const std::string& getEmail();
    /// A sign-in, or with an empty address a sign-out: opens or closes the telemetry session with the stored consent,
    /// and shows the address in the window's title.
    static void setEmail( std::string email );

    /// The credential that services ask for; empty when nobody is signed in.
    [[nodiscard]] static const std::string& getAccessToken();
    static void setAccessToken( std::string token );

private:
    static UserInfo& instance_();
    std::string email_;
    std::string accessToken_;
};

} // namespace VX
