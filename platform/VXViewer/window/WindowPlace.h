#pragma once

#include <VXViewer/Export.h>

#include <json/value.h>

#include <optional>
#include <vector>

namespace VX
{

/// Where a window stands and how large it is, without its frame. Positions are in the desktop's own units, sizes in
/// those of a screen of scale 1, so that a window keeps its size for the eye when the screen changes.
struct WindowPlace
{
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool maximized = false;

    bool operator==( const WindowPlace& ) const = default;
};

/// A part of the desktop, in its own units.
struct ScreenRect
{
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==( const ScreenRect& ) const = default;
};

/// What a window's frame takes on each side.
struct FrameSize
{
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

/// The place of a window when it opens, without its frame: where it was, as long as that is on a screen, else in the
/// middle of the first screen; never larger than its screen, and with all of its frame on it.
///
/// `screens` are what the panels of the desktop leave of each screen, the main one first; `scale` is how many of the
/// desktop's units one of scale 1 is. Without screens the window stays where it was.
[[nodiscard]] VXVIEWER_API ScreenRect placeWindow( const std::optional<WindowPlace>& remembered, int width, int height,
    const std::vector<ScreenRect>& screens, const FrameSize& frame, float scale );

/// For the settings. What is no place, or of no sensible size, is nothing.
[[nodiscard]] VXVIEWER_API std::optional<WindowPlace> windowPlaceFromJson( const Json::Value& value );
[[nodiscard]] VXVIEWER_API Json::Value toJson( const WindowPlace& place );

} // namespace VX
