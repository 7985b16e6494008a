#pragma once

#include <tl/expected.hpp>

#include <map>
#include <string>

namespace VX::Testing
{

/// Figures in the text format of Prometheus, as a strict reader has them.
struct ExposedFigures
{
    struct Family
    {
        std::string type;
        /// By name and labels as they are written, such as `a_total{b="c"}`.
        std::map<std::string, double> samples;
    };
    std::map<std::string, Family> families;

    /// Of a sample; NaN when there is none.
    [[nodiscard]] double of( const std::string& sample ) const;

    /// The error says what rule is broken: each family stands once and together, with its help before its type before
    /// its samples; names, labels and numbers are well-formed, no sample stands twice; counters end in _total, and the
    /// classes of each histogram rise to +Inf, which is its count.
    [[nodiscard]] static tl::expected<ExposedFigures, std::string> read( const std::string& text );
};

} // namespace VX::Testing
