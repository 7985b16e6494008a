#pragma once

#include "support/ScratchFolder.h"

#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>

#include <cstdlib>

namespace VX::Testing
{

/// Settings of the test's own, empty at first.
class OwnSettings
{
public:
    OwnSettings()
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setUserConfigName( "OrvantaTest" );
        Config::instance().reload();
    }
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_.path(); }

private:
    ScratchFolder folder_;
};

} // namespace VX::Testing
