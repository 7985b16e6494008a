#pragma once

#include "support/ui/TestAccess.h"
#include "support/ui/UiFixture.h"

#include <VXOrvanta/account/UserInfo.h>

namespace VX::Testing
{

/// The program from its start on, and the names of what a person does in it, as the statistics would get them.
class LoggedFixture : public UiFixture
{
protected:
    using Names = std::vector<std::string>;

    void SetUp() override
    {
        SessionLogsTestAccess::reset();
        UiFixture::SetUp();
        SessionLogsTestAccess::take();
    }
    void TearDown() override
    {
        UserInfo::setAccessToken( {} );
        UiFixture::TearDown();
        SessionLogsTestAccess::reset();
    }
    /// Since the last call.
    static Names logged() { return SessionLogsTestAccess::take(); }
};

} // namespace VX::Testing
