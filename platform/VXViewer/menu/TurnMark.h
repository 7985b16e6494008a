#pragma once

namespace VX
{

class Viewer;

namespace TurnMark
{

/// Marks the point about which the view is being turned, while it is. UI thread, within a frame.
void draw( Viewer& viewer, float scale );

} // namespace TurnMark

} // namespace VX
