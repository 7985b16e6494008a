#pragma once

namespace VX
{

/// Offers the work that programs left when they died, one scene after the other, until one is recovered. UI thread.
void offerRecovery();

} // namespace VX
