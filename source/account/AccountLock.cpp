#include <VXOrvanta/account/AccountLock.h>

#include <VXOrvanta/account/UserInfo.h>

namespace VX
{
namespace
{

// Never destroyed: a conversion may still be under way on another thread when the process's statics go.
std::mutex& mutex()
{
    static auto* sMutex = new std::mutex;
    return *sMutex;
}

} // namespace

AccountLock::AccountLock()
    : guard_( mutex() )
{
}

std::string copyOfAccessToken()
{
    const AccountLock lock;
    return UserInfo::getAccessToken();
}

} // namespace VX
