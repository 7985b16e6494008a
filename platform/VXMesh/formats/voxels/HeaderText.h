#pragma once

#include <VXMesh/math/Vector3.h>

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace VX
{

/// The words of a text, with white space between them.
[[nodiscard]] std::vector<std::string> wordsOf( std::string_view text );

/// A number that is all of the text; nothing otherwise.
[[nodiscard]] std::optional<int64_t> wholeNumber( std::string_view text );
[[nodiscard]] std::optional<double> decimalNumber( std::string_view text );

/// As many numbers as there are words; nothing when one is none.
[[nodiscard]] std::optional<std::vector<int64_t>> wholeNumbers( std::string_view text );
[[nodiscard]] std::optional<std::vector<double>> decimalNumbers( std::string_view text );

/// The lines at the beginning of a file, as keys and values.
class HeaderLines
{
public:
    /// No header is longer.
    static constexpr size_t cMostBytes = size_t( 1 ) << 20;

    explicit HeaderLines( std::span<const std::byte> bytes );

    /// The next line without its end; nothing where there is none, or the header is too long.
    [[nodiscard]] std::optional<std::string_view> next();
    /// Where the next line begins.
    [[nodiscard]] size_t offset() const { return at_; }

private:
    std::string_view text_;
    size_t at_ = 0;
};

/// Keys in lower case.
using HeaderFields = std::map<std::string, std::string>;

/// The value of the first of these keys that is there; empty when none is.
[[nodiscard]] std::string fieldOf( const HeaderFields& fields, std::initializer_list<const char*> keys );

} // namespace VX
