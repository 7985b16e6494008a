#pragma once

#include <VXViewer/Export.h>

#include <functional>
#include <string>
#include <vector>

namespace VX
{

/// What a finished program left: its exit status (-1 when it could not be started) and what it printed.
struct ChildResult
{
    int status = -1;
    std::string output;
};

/// Runs a program found in PATH without a shell and waits for it; any thread but the UI's.
[[nodiscard]] VXVIEWER_API ChildResult runChild( const std::vector<std::string>& arguments );

/// Starts a program found in PATH and forgets it; false when it could not be started.
///
/// `failed` is called on another thread when it ends within some seconds and says by its status, or by a crash, that it
/// could not do its work; a program that lives longer did.
[[nodiscard]] VXVIEWER_API bool startDetached(
    const std::vector<std::string>& arguments, std::function<void()> failed = {} );

/// Whether PATH holds a program of this name.
[[nodiscard]] VXVIEWER_API bool isInPath( const std::string& program );

} // namespace VX
