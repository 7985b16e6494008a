#pragma once

#include <VXOrvanta/Export.h>

#include <cstddef>
#include <string>

namespace VX
{

/// Where the rows of a form stand in a window, in whole pixels: Dear ImGui places its rows so, too.
struct RowPlaces
{
    /// Between two rows.
    float gap = 0;
    /// Above the first row.
    float offset = 0;
    friend bool operator==( const RowPlaces&, const RowPlaces& ) = default;
};

/// The nearest gap that a form may have: 4 to 16 pixels times the scale.
[[nodiscard]] VXORVANTA_API float allowedGap( float gap, float scaling );

/// Places `count` rows, at least two, which are `rows` high together, in a height: with the widest allowed gap at which
/// they fit, and in the middle where something is left.
[[nodiscard]] VXORVANTA_API RowPlaces placeRows( float height, float rows, int count, float scaling );

/// A text that is longer than `most` bytes is cut there, between two UTF-8 characters, and ends in three dots.
[[nodiscard]] VXORVANTA_API std::string beginningOf( const std::string& text, std::size_t most );

} // namespace VX
