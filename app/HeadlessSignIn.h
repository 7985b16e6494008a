#pragma once

#include <string>

namespace VX::App
{

/// Signs in without a window, with the file of e-mail address and password after the last "-creds" or, where there is
/// none of use, with the stored token. Turns the viewer's loop until the answer is there. Without either nothing
/// happens.
///
/// Returns what went wrong, in words for the user; empty when nothing did.
[[nodiscard]] std::string signInHeadless();

} // namespace VX::App
