#pragma once

namespace VX::App
{

/// Lets every web request of this process fail at once, without a socket. Call it before anything is sent.
void forbidNetwork();

} // namespace VX::App
