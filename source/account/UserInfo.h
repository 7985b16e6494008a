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
    /// The credential that services ask for; empty when nobody is signed in.
    [[nodiscard]] static const std::string& getAccessToken();
    static void setAccessToken( std::string token );

private:
    static UserInfo& instance_();
    std::string accessToken_;
};

} // namespace VX
