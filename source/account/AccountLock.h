#pragma once

#include <VXOrvanta/Export.h>

#include <mutex>
#include <string>

namespace VX
{

/// Held while a sign-in or a sign-out is being processed, beside `UserInfo`, which has no lock of its own.
///
/// Who writes there holds it for all that belongs together. Nothing that builds a request is called meanwhile on the
/// same thread.
class VXORVANTA_API AccountLock
{
public:
    AccountLock();
    AccountLock( const AccountLock& ) = delete;
    AccountLock& operator=( const AccountLock& ) = delete;

private:
    std::lock_guard<std::mutex> guard_;
};

/// A copy of the access token while no sign-in or sign-out is being processed. Any thread.
[[nodiscard]] VXORVANTA_API std::string copyOfAccessToken();

} // namespace VX
