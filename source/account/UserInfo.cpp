#include <VXOrvanta/account/UserInfo.h>

namespace VX
{

UserInfo& UserInfo::instance_()
{
    static UserInfo sInstance;
    return sInstance;
}

const std::string& UserInfo::getAccessToken()
{
    return instance_().accessToken_;
}

void UserInfo::setAccessToken( std::string token )
{
    instance_().accessToken_ = std::move( token );
}

} // namespace VX
