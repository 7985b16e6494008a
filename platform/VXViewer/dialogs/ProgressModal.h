#pragma once

namespace VX::ProgressModal
{

[[nodiscard]] bool isShown();

/// Draws the running job of `ProgressBar`, if there is one: name, stage, fraction, time, Cancel (Escape too).
void draw();

} // namespace VX::ProgressModal
