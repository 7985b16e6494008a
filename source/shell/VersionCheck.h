#pragma once

#include <VXOrvanta/Export.h>

#include <json/value.h>

#include <optional>
#include <string>

namespace VX
{

/// A version of four numbers, "2.4.1.77".
struct VXORVANTA_API VXVersionParsed
{
    int major = -1;
    int minor = -1;
    int patch = -1;
    int build = -1;
    /// Whether all four parts were found; only then are the numbers of use.
    bool valid = false;

    /// Parts after the fourth and text after a number are left out. Labels of development builds, which begin with a
    /// capital D, are no versions.
    explicit VXVersionParsed( const std::string& text );

    [[nodiscard]] std::string toString() const;
};

/// The version that the service's answer names, in its normal form, when it is newer than the running one. Nothing for
/// any other answer.
[[nodiscard]] VXORVANTA_API std::optional<std::string> newerVersion(
    const std::string& running, const Json::Value& response );

} // namespace VX
